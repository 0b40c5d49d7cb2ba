// Which page each section of the main window gets.
#include "app/overview/OverviewPage.h"
#include "app/sections/AppsPage.h"
#include "app/sections/EnergyPage.h"
#include "app/sections/MemoryPage.h"
#include "app/sections/NetworkPage.h"
#include "app/sections/SectionPage.h"
#include "app/sections/SensorsPage.h"
#include "app/sections/TimelinePage.h"

namespace qm::app {

SectionPage* makeSectionPage(Section section, AppContext& context, QWidget* parent) {
    switch (section) {
        case Section::overview: return makeOverviewPage(context, parent);
        case Section::apps: return makeAppsPage(context, parent);
        case Section::memory: return makeMemoryPage(context, parent);
        case Section::energy: return makeEnergyPage(context, parent);
        case Section::sensors: return makeSensorsPage(context, parent);
        case Section::network: return makeNetworkPage(context, parent);
        case Section::timeline: return makeTimelinePage(context, parent);
    }
    return new PlaceholderPage(section, context, parent);
}

}  // namespace qm::app
