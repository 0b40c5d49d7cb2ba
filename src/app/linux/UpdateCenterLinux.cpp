// No updater: on Linux the package manager brings updates (and a Mac build without
// Sparkle offers none); the program never checks on its own.
#include "app/updates/UpdateCenter.h"

namespace qm::app {

void UpdateCenter::start() {}
void UpdateCenter::checkForUpdates() {}

}  // namespace qm::app
