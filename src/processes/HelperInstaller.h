// Registering the read-only privileged helper daemon with the system, and the
// login-item switch that goes through the same system service. On macOS the daemon
// is a launchd service of SMAppService; on Linux it is quillmere-helper behind the
// systemd socket unit quillmere-helper.socket.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qm {

struct HelperInstaller {
    enum class State { enabled, requiresApproval, notRegistered, unavailable };

    // The launch daemon's property list and mach service names.
    static constexpr const char* plistName = "app.quillmere.helper.plist";
    static constexpr const char* machServiceName = "app.quillmere.helper";

    // The daemon service's registration state. Linux: `enabled` while the socket unit
    // is active (its socket exists), `notRegistered` when it is installed but not
    // active, `unavailable` without systemd or without the installed unit.
    static State state();
    // Registers the daemon; when the system wants the user's approval, opens the
    // login-items settings. Returns the state afterwards. Linux: runs the enable
    // command through pkexec (it asks for the administrator's password and blocks
    // until answered: call it off the main thread); without pkexec nothing happens
    // and the caller shows enableCommand() instead.
    static State install();
    // Linux: the one command that lets the current user ask the helper (adds the
    // user to the group "quillmere" and starts the socket unit). Empty on macOS.
    static std::string enableCommand();
    // Unregisters the daemon; a failure is ignored.
    static void uninstall();

    // The system service's status code: 0 not registered, 1 enabled, 2 requires
    // approval, anything else (not found) unavailable.
    static State stateFromStatus(int64_t status);
    // The Linux state from what the machine shows.
    static State stateFromUnit(bool systemdRunning, bool unitInstalled, bool socketListening);
    // The shell script that enables the helper for `user`, run as root.
    static std::string enableScript(const std::string& user);
};

std::string_view rawValue(HelperInstaller::State state);

struct LoginItem {
    // Starts the app at login (or stops doing so); a failure logs
    // "Quillmere: login item change failed: <reason>".
    static void set(bool enabled);
};

}  // namespace qm
