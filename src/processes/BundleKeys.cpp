#include "processes/BundleKeys.h"

#include "processes/ProcessNames.h"

namespace qm {

namespace {
std::string normalised(std::string_view path) {
    size_t first = path.find_first_not_of('/');
    if (first == std::string_view::npos) return "/";
    size_t last = path.find_last_not_of('/');
    return "/" + std::string(path.substr(first, last - first + 1));
}

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

std::string withoutExtension(const std::string& name) {
    auto dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}
}  // namespace

std::optional<std::string> outermostAppPath(std::string_view path) {
    if (auto at = path.find(".app/"); at != std::string_view::npos) return normalised(path.substr(0, at + 4));
    if (path.size() >= 4 && path.substr(path.size() - 4) == ".app") return normalised(path);
    return std::nullopt;
}

std::optional<std::string> clonedBundlePath(std::string_view path) {
    auto at = path.find(".app.bundle/");
    if (at == std::string_view::npos) return std::nullopt;
    return std::string(path.substr(0, at + 11));
}

bool isExcludedAppLocation(std::string_view appPath) {
    return startsWith(appPath, "/System/Library/") || startsWith(appPath, "/Library/Apple/") ||
           appPath.find(".framework/") != std::string_view::npos;
}

ProcessKind kindForPath(std::string_view path, std::string_view name) {
    if (path.empty() || name == "kernel_task") return ProcessKind::system;
    static constexpr std::string_view systemPrefixes[] = {"/System/",
                                                          "/usr/",
                                                          "/sbin/",
                                                          "/bin/",
                                                          "/Library/Apple/",
                                                          "/private/var/db/",
                                                          "/Library/Developer/CommandLineTools/usr/lib"};
    bool inSystem = false;
    for (auto prefix : systemPrefixes) inSystem = inSystem || startsWith(path, prefix);
    if (!inSystem) return ProcessKind::background;
    if (startsWith(path, "/System/Applications/") ||
        startsWith(path, "/System/Volumes/Preboot/Cryptexes/App/System/Applications/"))
        return ProcessKind::app;
    return ProcessKind::system;
}

BundleKeyResolver::BundleKeyResolver(std::unique_ptr<BundleSource> source) : source_(std::move(source)) {}

std::optional<std::string> BundleKeyResolver::outermostApp(std::string_view path) {
    if (auto clone = clonedBundlePath(path)) {
        if (auto known = cloneTargets_.find(*clone); known != cloneTargets_.end()) return normalised(known->second);
        auto id = bundleInfo(*clone).id;
        auto target = id ? source_->applicationForBundleID(*id) : std::nullopt;
        if (!target || target->empty()) return std::nullopt;
        cloneTargets_[*clone] = *target;
        return normalised(*target);
    }
    return outermostAppPath(path);
}

BundleInfo BundleKeyResolver::bundleInfo(const std::string& path) {
    if (auto cached = bundleCache_.find(path); cached != bundleCache_.end()) return cached->second;
    BundleInfo info = source_->bundleInfo(path);
    bundleCache_[path] = info;
    return info;
}

GroupKey BundleKeyResolver::computeKey(const ProcessSample& sample, const SamplesByPID& byPID, uint64_t startTime) {
    std::optional<std::string> app;
    // macOS attributes an app's XPC services and helpers to the app, even when their
    // executables live outside its bundle.
    if (auto responsible = source_->responsiblePID(sample.pid);
        responsible && *responsible >= 1 && *responsible != sample.pid) {
        if (auto owner = byPID.find(*responsible); owner != byPID.end()) app = outermostApp(owner->second->path);
    }
    if (!app) app = outermostApp(sample.path);

    GroupKey key;
    key.startTime = startTime;
    if (app && !isExcludedAppLocation(*app)) {
        BundleInfo info = bundleInfo(*app);
        key.key = "app:" + *app;
        key.name = info.name && !info.name->empty() ? *info.name : withoutExtension(lastPathComponent(*app));
        key.kind = ProcessKind::app;
        key.bundlePath = *app;
        key.bundleID = info.id;
        return key;
    }
    key.key = "proc:" + sample.name;
    key.name = sample.name;
    key.kind = kindForPath(sample.path, sample.name);
    return key;
}

}  // namespace qm
