// How macOS processes are grouped: by the outermost application bundle in the
// executable's path (or in its responsible process's path), with Apple's own system
// locations and frameworks kept as plain processes.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "processes/AppGrouping.h"

namespace qm {

// The bundle at a path: display name and identifier, each absent when unknown.
struct BundleInfo {
    std::optional<std::string> name;
    std::optional<std::string> id;
};

// What the bundle rules need from the system.
class BundleSource {
public:
    virtual ~BundleSource() = default;
    // The process macOS holds responsible for `pid`, absent when the call is unavailable.
    virtual std::optional<int32_t> responsiblePID(int32_t pid) = 0;
    // Name ("CFBundleDisplayName", else "CFBundleName") and identifier of a bundle.
    virtual BundleInfo bundleInfo(const std::string& path) = 0;
    // The path of the application registered under a bundle identifier.
    virtual std::optional<std::string> applicationForBundleID(const std::string& id) = 0;
};

// The outermost ".app" in a path without any clone lookup, e.g. the Xcode.app of a
// Simulator.app nested inside it; absent when the path holds no app.
std::optional<std::string> outermostAppPath(std::string_view path);

// The part of a path up to and including ".app.bundle" (a cloned app), or absent.
std::optional<std::string> clonedBundlePath(std::string_view path);

// App paths that stay plain processes: /System/Library/, /Library/Apple/, frameworks.
bool isExcludedAppLocation(std::string_view appPath);

// Kind of a process without an app: system for Apple's locations, background otherwise.
ProcessKind kindForPath(std::string_view path, std::string_view name);

class BundleKeyResolver : public KeyResolver {
public:
    explicit BundleKeyResolver(std::unique_ptr<BundleSource> source);

    GroupKey computeKey(const ProcessSample& sample, const SamplesByPID& byPID, uint64_t startTime) override;

    std::optional<std::string> outermostApp(std::string_view path);
    BundleInfo bundleInfo(const std::string& path);

private:
    std::unique_ptr<BundleSource> source_;
    std::map<std::string, BundleInfo> bundleCache_;
    std::map<std::string, std::string> cloneTargets_;
};

}  // namespace qm
