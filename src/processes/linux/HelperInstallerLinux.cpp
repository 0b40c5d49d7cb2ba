// No privileged helper exists on Linux: the kernel already lets the reader measure
// every process's CPU and memory, so there is nothing to register. Starting at login
// is a systemd user service there (see the README), not something the program flips.
#include "core/Log.h"
#include "processes/HelperInstaller.h"

namespace qm {

HelperInstaller::State HelperInstaller::state() { return State::unavailable; }
HelperInstaller::State HelperInstaller::install() { return State::unavailable; }
void HelperInstaller::uninstall() {}

void LoginItem::set(bool) { logLine("login item change failed: use `systemctl --user enable quillmere` on Linux"); }

}  // namespace qm
