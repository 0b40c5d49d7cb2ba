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

HelperInstaller::State HelperInstaller::stateFromUnit(bool systemdRunning, bool unitInstalled, bool socketListening) {
    if (!systemdRunning || !unitInstalled) return State::unavailable;
    return socketListening ? State::enabled : State::notRegistered;
}

std::string HelperInstaller::enableScript(const std::string& user) {
    std::string script = "groupadd -f quillmere && ";
    // Only a plain user name goes into the script; anything else would need quoting.
    bool plain = !user.empty() && user[0] != '-' && user.size() <= 64;
    for (char c : user)
        plain = plain && ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                          c == '-' || c == '.');
    if (plain) script += "usermod -aG quillmere " + user + " && ";
    return script + "systemctl enable --now quillmere-helper.socket";
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
