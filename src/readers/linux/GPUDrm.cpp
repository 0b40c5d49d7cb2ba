#include "readers/linux/GPUDrm.h"

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/GPUUtilisation.h"
#include "readers/Sources.h"

namespace qm {

std::optional<double> DrmGPUSource::read() {
    const std::string base = root_ + "/sys/class/drm";
    std::vector<double> busy;
    for (const auto& name : listDirectory(base)) {
        // "card0" is a GPU; "card0-DP-1" is one of its connectors.
        if (name.rfind("card", 0) != 0 || !parseUInt(std::string_view(name).substr(4))) continue;
        if (auto percent = readDouble(base + "/" + name + "/device/gpu_busy_percent")) busy.push_back(*percent);
    }
    return busiestAccelerator(busy);
}

std::unique_ptr<GPUSource> makeGPUSource() { return std::make_unique<DrmGPUSource>(systemRoot()); }

}  // namespace qm
