// How Linux processes are grouped: a process in a desktop app's systemd unit belongs
// to the app whose desktop file names that unit ("app:" + the desktop file's path);
// shells started in it (a terminal's tabs) and everything else stay plain processes.
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

// Kind of a Linux process that is not a desktop app: kernel threads, system services
// and daemons of system accounts (uid below 1000) are system; the rest background.
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
    };
    std::optional<DesktopApp> desktopApp(const std::string& cgroupPath);
    bool startedFromTerminal(const ProcessSample& sample, const SamplesByPID& byPID, const std::string& cgroupPath);

    std::unique_ptr<CgroupSource> source_;
    DesktopFileIndex index_;
    std::map<std::string, DesktopApp> appsByFile_;  // by desktop file path
};

}  // namespace qm
