// The Linux helper is quillmere-helper behind the systemd socket unit
// quillmere-helper.socket (installed with the program). Enabling it means starting the
// socket unit and adding the user to the group the helper answers. Starting at login
// is a systemd user service there (see the README), not something the program flips.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/FileRead.h"
#include "core/HelperProtocol.h"
#include "core/Log.h"
#include "processes/HelperInstaller.h"
#include "processes/RunCommand.h"

namespace qm {

namespace {

bool unitInstalled() {
    for (const char* dir :
         {"/etc/systemd/system", "/usr/local/lib/systemd/system", "/usr/lib/systemd/system", "/lib/systemd/system"})
        if (pathExists(std::string(dir) + "/quillmere-helper.socket")) return true;
    return false;
}

std::string currentUser() {
    if (passwd* entry = ::getpwuid(::getuid())) return entry->pw_name;
    return {};
}

}  // namespace

HelperInstaller::State HelperInstaller::state() {
    struct stat st {};
    std::string socket = helper::configuredSocketPath();
    bool listening = ::stat(socket.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
    // systemd's own test for "booted with systemd".
    return stateFromUnit(pathExists("/run/systemd/system"), unitInstalled(), listening);
}

std::string HelperInstaller::enableCommand() { return "sudo sh -c '" + enableScript(currentUser()) + "'"; }

HelperInstaller::State HelperInstaller::install() {
    State now = state();
    if (now != State::notRegistered || !pathExists("/usr/bin/pkexec")) return now;
    runCommand("/usr/bin/pkexec", {"/bin/sh", "-c", enableScript(currentUser())});
    return state();
}

void HelperInstaller::uninstall() {}

void LoginItem::set(bool) { logLine("login item change failed: use `systemctl --user enable quillmere` on Linux"); }

}  // namespace qm
