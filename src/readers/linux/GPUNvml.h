// NVIDIA GPUs through the driver's own management library (NVML), loaded at run time
// with dlopen, so that nothing of NVIDIA's is needed to build or run Quillmere: a
// machine without the driver simply has no NVIDIA GPU to show. Nothing is loaded until
// the kernel driver is there (/proc/driver/nvidia/gpus, looked for once a minute).
//
// The library is loaded, and every call into it made, on a thread of its own that the
// sampler waits for only `timeLimit` seconds: a driver that hangs (a GPU that fell off
// the bus does that) leaves the figures absent, with one log line, and the tick goes on.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Platform.h"
#include "readers/BoundedWorker.h"

namespace qm {

class NvmlGPUSource : public GPUSource {
public:
    using Seconds = std::function<double()>;  // a monotonic clock
    static constexpr double rescanPeriod = 60;
    static constexpr double defaultTimeLimit = 0.5;

    explicit NvmlGPUSource(std::string root, std::string library = "libnvidia-ml.so.1",
                           double timeLimit = defaultTimeLimit, Seconds seconds = {});
    std::optional<double> read() override;
    std::vector<GPUDevice> devices() const override { return devices_; }

    struct Library;  // the loaded library; used on the worker thread only

private:
    std::string root_;
    double timeLimit_;
    Seconds seconds_;
    std::optional<double> checkedAt_;
    bool driverPresent_ = false;
    std::shared_ptr<Library> library_;
    std::unique_ptr<BoundedWorker> worker_;  // made when the driver is first seen
    std::vector<GPUDevice> devices_;
    bool hangLogged_ = false;
};

}  // namespace qm
