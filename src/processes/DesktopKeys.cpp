#include "processes/DesktopKeys.h"

#include "processes/AppScope.h"
#include "processes/KernelGroup.h"
#include "processes/ProcessNames.h"

namespace qm {

ProcessKind linuxKind(bool kernelThread, std::string_view cgroupPath, uint32_t uid) {
    if (kernelThread || isSystemServiceCgroup(cgroupPath)) return ProcessKind::system;
    if (cgroupPath.starts_with("/user.slice/")) return ProcessKind::background;
    return uid < 1000 ? ProcessKind::system : ProcessKind::background;
}

bool isShellName(std::string_view name) {
    static constexpr std::string_view shells[] = {"bash", "zsh", "fish",  "sh",     "dash", "ksh",  "mksh",  "tcsh",
                                                  "csh",  "nu",  "xonsh", "elvish", "pwsh", "tmux", "screen"};
    if (!name.empty() && name[0] == '-') name.remove_prefix(1);  // login shells
    for (auto shell : shells)
        if (name == shell) return true;
    return false;
}

DesktopKeyResolver::DesktopKeyResolver(std::unique_ptr<CgroupSource> source, std::vector<std::string> dataDirectories)
    : source_(std::move(source)), index_(std::move(dataDirectories)) {}

std::optional<DesktopKeyResolver::DesktopApp> DesktopKeyResolver::desktopApp(const std::string& cgroupPath) {
    auto scope = appScopeOf(cgroupPath);
    if (!scope) return std::nullopt;
    // Unit names change with every launch; the caches are per app id and desktop file,
    // so they stay as small as the set of apps the user runs.
    for (const auto& id : scope->candidateIDs) {
        auto path = index_.find(id);
        if (!path) continue;
        if (auto known = appsByFile_.find(*path); known != appsByFile_.end()) return known->second;
        std::string fileName = lastPathComponent(*path);
        std::string fallback = fileName.substr(0, fileName.size() - 8);  // without ".desktop"
        auto text = source_->readText(*path);
        auto name = text ? desktopEntryName(*text) : std::nullopt;
        DesktopApp app{*path, fallback, name.value_or(fallback), text && desktopEntryIsTerminal(*text)};
        appsByFile_[*path] = app;
        return app;
    }
    return std::nullopt;
}

// A shell in a terminal emulator's own unit, or anything started from one, was
// started by the user in one of its tabs.
bool DesktopKeyResolver::startedFromTerminal(const ProcessSample& sample, const SamplesByPID& byPID,
                                             const std::string& cgroupPath) {
    const ProcessSample* current = &sample;
    for (int depth = 0; depth < 64; ++depth) {
        if (isShellName(current->name)) return true;
        auto parent = byPID.find(current->ppid);
        if (parent == byPID.end() || parent->second == current) return false;
        auto parentCgroup = source_->cgroupFile(parent->second->pid);
        if (!parentCgroup || systemdCgroupPath(*parentCgroup) != cgroupPath) return false;
        current = parent->second;
    }
    return false;
}

GroupKey DesktopKeyResolver::computeKey(const ProcessSample& sample, const SamplesByPID& byPID, uint64_t startTime) {
    GroupKey key;
    key.startTime = startTime;
    auto file = source_->cgroupFile(sample.pid);
    std::string cgroupPath = file ? systemdCgroupPath(*file) : std::string();
    bool kernelThread = source_->isKernelThread(sample.pid);
    if (kernelThread) {
        key.key = kernelGroupKey;
        key.name = kernelGroupName;
        key.kind = ProcessKind::system;
        return key;
    }
    if (!cgroupPath.empty()) {
        auto app = desktopApp(cgroupPath);
        if (app && !(app->terminal && startedFromTerminal(sample, byPID, cgroupPath))) {
            key.key = "app:" + app->path;
            key.name = app->name;
            key.kind = ProcessKind::app;
            key.bundlePath = app->path;
            key.bundleID = app->id;
            return key;
        }
    }
    key.key = "proc:" + sample.name;
    key.name = sample.name;
    key.kind = linuxKind(kernelThread, cgroupPath, sample.uid);
    return key;
}

}  // namespace qm
