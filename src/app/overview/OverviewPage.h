// The overview section: the status summary and the machine's figures at a glance.
#pragma once

#include "app/sections/SectionPage.h"

namespace qm::app {

SectionPage* makeOverviewPage(AppContext& context, QWidget* parent);

}  // namespace qm::app
