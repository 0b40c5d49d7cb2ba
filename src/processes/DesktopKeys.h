// How Linux processes are grouped: a process in a desktop app's systemd unit belongs
// to the app whose desktop file names that unit ("app:" + the desktop file's path).
// In a terminal emulator's unit (its desktop file says so), the shells of its tabs and
// what they start stay plain processes; in any other app's unit a shell is just part
// of the app (a launcher script that stays alive, as Steam's and many games' do).
// Kernel threads form the one kernel group; everything else is a plain process.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "processes/AppGrouping.h"
#include "processes/DesktopEntry.h"

namespace qm {

// What the desktop rules need to know about a process, read once per lifetime.
class CgroupSource {
public:
    virtual ~CgroupSource() = default;
    // Contents of /proc/<pid>/cgroup, absent when unreadable or gone.
    virtual std::optional<std::string> cgroupFile(int32_t pid) = 0;
    virtual bool isKernelThread(int32_t pid) = 0;
    // A file's contents (desktop files).
    virtual std::optional<std::string> readText(const std::string& path) = 0;
};

// Kind of a Linux process that is not a desktop app. The systemd slice decides where
// there is one: services (system.slice) and init.scope are system, everything in the
// user's slice (session, services, app scopes) background, whichever user runs it, so
// that running as root does not make every process a system one. Without a slice,
// kernel threads and daemons of system accounts (uid below 1000) are system.
ProcessKind linuxKind(bool kernelThread, std::string_view cgroupPath, uint32_t uid);

// Shells and terminal multiplexers: what a terminal runs in its tabs.
bool isShellName(std::string_view name);

class DesktopKeyResolver : public KeyResolver {
public:
    DesktopKeyResolver(std::unique_ptr<CgroupSource> source, std::vector<std::string> dataDirectories);

    GroupKey computeKey(const ProcessSample& sample, const SamplesByPID& byPID, uint64_t startTime) override;

private:
    struct DesktopApp {
        std::string path;
        std::string id;
        std::string name;
        bool terminal = false;  // a terminal emulator: what its shells start is the user's own
    };
    std::optional<DesktopApp> desktopApp(const std::string& cgroupPath);
    bool startedFromTerminal(const ProcessSample& sample, const SamplesByPID& byPID, const std::string& cgroupPath);

    std::unique_ptr<CgroupSource> source_;
    DesktopFileIndex index_;
    std::map<std::string, DesktopApp> appsByFile_;  // by desktop file path
};

}  // namespace qm
