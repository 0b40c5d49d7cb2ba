// GPU utilisation on Linux: the DRM "gpu_busy_percent" that amdgpu (and some other
// drivers) publish per card; absent on machines whose GPU says nothing.
#pragma once

#include <string>

#include "core/Platform.h"

namespace qm {

class DrmGPUSource : public GPUSource {
public:
    explicit DrmGPUSource(std::string root) : root_(std::move(root)) {}
    // The busiest card, capped at 100; cards come and go (external GPUs), so the
    // list is read each time.
    std::optional<double> read() override;

private:
    std::string root_;
};

}  // namespace qm
