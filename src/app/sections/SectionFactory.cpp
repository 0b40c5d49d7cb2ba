// Which page each section of the main window gets.
#include "app/overview/OverviewPage.h"
#include "app/sections/SectionPage.h"

namespace qm::app {

SectionPage* makeSectionPage(Section section, AppContext& context, QWidget* parent) {
    switch (section) {
        case Section::overview: return makeOverviewPage(context, parent);
        case Section::apps:
        case Section::memory:
        case Section::energy:
        case Section::sensors:
        case Section::network:
        case Section::timeline: return new PlaceholderPage(section, context, parent);
    }
    return new PlaceholderPage(section, context, parent);
}

}  // namespace qm::app
