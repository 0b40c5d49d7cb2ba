// The process facts of macOS: the kernel's process list, resource-usage records,
// executable paths, argument areas and the `ps` fallback. Compiled on macOS only.
#pragma once

#include <memory>

#include "processes/BundleKeys.h"
#include "processes/HelperTransport.h"
#include "processes/ProcessSource.h"

namespace qm {

class DarwinProcessSource : public ProcessSource {
public:
    DarwinProcessSource();

    std::vector<BasicInfo> allProcesses() override;
    uint64_t absoluteTime() override;
    double timebase() const override { return timebase_; }
    uint32_t ownUID() const override { return ownUID_; }
    std::optional<UsageRecord> usage(const BasicInfo& process) override;
    std::string executablePath(const BasicInfo& process) override;
    std::optional<std::string> argumentExecutable(const BasicInfo& process) override;
    std::optional<std::string> runPS() override;

private:
    double timebase_ = 1.0;  // nanoseconds per mach_absolute_time tick
    uint32_t ownUID_ = 0;
};

// Responsible processes, bundle names and the workspace's registered applications.
std::unique_ptr<BundleSource> makeDarwinBundleSource();
// The XPC connection to the privileged helper daemon.
std::unique_ptr<HelperTransport> makeXPCHelperTransport();

}  // namespace qm
