// Turns the kernel's cumulative per-processor tick counters into busy shares.
#pragma once

#include <memory>
#include <vector>

#include "core/Platform.h"

namespace qm {

class CPUReader {
public:
    CPUReader(std::unique_ptr<CPUSource> source, std::vector<CPUStats::CoreType> coreTypes);

    // One call per sampler tick; the shares cover the time since the previous call.
    CPUStats read();

    // The counters of the previous call, four per CPU: user, system, idle, nice.
    const std::vector<uint32_t>& previous() const { return previous_; }

private:
    std::unique_ptr<CPUSource> source_;
    std::vector<CPUStats::CoreType> coreTypes_;
    std::vector<uint32_t> previous_;
};

// The busy shares between two counter arrays of equal length (pure arithmetic;
// unsigned 32-bit differences, so a counter that wrapped still gives the right delta).
CPUStats cpuShares(const std::vector<uint32_t>& previous, const std::vector<uint32_t>& current);

}  // namespace qm
