#include "app/updates/UpdateCenter.h"

namespace qm::app {

UpdateCenter& UpdateCenter::shared() {
    static UpdateCenter* center = new UpdateCenter;  // lives as long as the application
    return *center;
}

void UpdateCenter::setAvailableVersion(std::optional<std::string> version) {
    if (state_.availableVersion == version) return;
    state_.availableVersion = std::move(version);
    emit stateChanged();
}

}  // namespace qm::app
