// GPU utilisation on Linux: the DRM "gpu_busy_percent" that amdgpu (and some other
// drivers) publish per card; absent on machines whose GPU says nothing.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/Platform.h"

namespace qm {

class DrmGPUSource : public GPUSource {
public:
    using Seconds = std::function<double()>;  // a monotonic clock
    // How often the cards are looked for again (external GPUs come and go).
    static constexpr double rescanPeriod = 60;

    explicit DrmGPUSource(std::string root, Seconds seconds = {});
    // The busiest card, capped at 100. Each read opens only the cards' busy files; the
    // card list is read once a minute, and at once when a known card is gone. A
    // machine whose cards publish nothing costs one directory listing a minute.
    std::optional<double> read() override;

private:
    void scan();

    std::string root_;
    Seconds seconds_;
    std::vector<std::string> busyFiles_;
    std::optional<double> scannedAt_;
};

}  // namespace qm
