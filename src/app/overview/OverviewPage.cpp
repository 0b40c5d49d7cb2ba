#include "app/overview/OverviewPage.h"

namespace qm::app {

SectionPage* makeOverviewPage(AppContext& context, QWidget* parent) {
    return new PlaceholderPage(Section::overview, context, parent);
}

}  // namespace qm::app
