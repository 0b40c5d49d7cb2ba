// Registering the read-only privileged helper daemon with the system, and the
// login-item switch that goes through the same system service. The daemon only
// exists on macOS; elsewhere its state is always `unavailable`.
#pragma once

#include <cstdint>
#include <string_view>

namespace qm {

struct HelperInstaller {
    enum class State { enabled, requiresApproval, notRegistered, unavailable };

    // The launch daemon's property list and mach service names.
    static constexpr const char* plistName = "app.quillmere.helper.plist";
    static constexpr const char* machServiceName = "app.quillmere.helper";

    // The daemon service's registration state.
    static State state();
    // Registers the daemon; when the system wants the user's approval, opens the
    // login-items settings. Returns the state afterwards.
    static State install();
    // Unregisters the daemon; a failure is ignored.
    static void uninstall();

    // The system service's status code: 0 not registered, 1 enabled, 2 requires
    // approval, anything else (not found) unavailable.
    static State stateFromStatus(int64_t status);
};

std::string_view rawValue(HelperInstaller::State state);

struct LoginItem {
    // Starts the app at login (or stops doing so); a failure logs
    // "Quillmere: login item change failed: <reason>".
    static void set(bool enabled);
};

}  // namespace qm
