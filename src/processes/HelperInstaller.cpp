#include "processes/HelperInstaller.h"

namespace qm {

HelperInstaller::State HelperInstaller::stateFromStatus(int64_t status) {
    switch (status) {
        case 0: return State::notRegistered;
        case 1: return State::enabled;
        case 2: return State::requiresApproval;
        default: return State::unavailable;
    }
}

std::string_view rawValue(HelperInstaller::State state) {
    switch (state) {
        case HelperInstaller::State::enabled: return "enabled";
        case HelperInstaller::State::requiresApproval: return "requiresApproval";
        case HelperInstaller::State::notRegistered: return "notRegistered";
        case HelperInstaller::State::unavailable: return "unavailable";
    }
    return "unavailable";
}

}  // namespace qm
