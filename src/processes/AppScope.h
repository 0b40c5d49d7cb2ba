// Linux desktop apps run in systemd units named after their desktop file:
//   app[-<launcher>]-<AppID>[-<random>].scope, app[-<launcher>]-<AppID>[@<random>].service,
//   app-flatpak-<AppID>-<n>.scope, snap.<name>.<app>-<uuid>.scope.
// These pure functions find such a unit in a process's cgroup and list the desktop-file
// ids it may stand for.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

// The process's systemd cgroup path from the contents of /proc/<pid>/cgroup: the
// unified ("0::") line, or the "name=systemd" line of a v1 hierarchy; "" when neither.
std::string systemdCgroupPath(std::string_view cgroupFile);

// systemd's unit-name escaping undone ("firefox\x2desr" -> "firefox-esr").
std::string unescapeUnitName(std::string_view name);

struct AppScope {
    std::string unit;                       // the unit's name, e.g. "app-gnome-firefox-1234.scope"
    std::vector<std::string> candidateIDs;  // desktop-file ids to try, most likely first
};

// The innermost app unit of a cgroup path, or absent for session scopes, terminals'
// own scopes, services and everything else.
std::optional<AppScope> appScopeOf(std::string_view cgroupPath);

// A system service: anything under system.slice, or init.scope itself.
bool isSystemServiceCgroup(std::string_view cgroupPath);

}  // namespace qm
