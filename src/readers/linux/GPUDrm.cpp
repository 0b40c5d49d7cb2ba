#include "readers/linux/GPUDrm.h"

#include <chrono>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/GPUUtilisation.h"
#include "readers/Sources.h"

namespace qm {

namespace {

double monotonicSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

DrmGPUSource::DrmGPUSource(std::string root, Seconds seconds)
    : root_(std::move(root)), seconds_(seconds ? std::move(seconds) : Seconds(monotonicSeconds)) {}

void DrmGPUSource::scan() {
    busyFiles_.clear();
    const std::string base = root_ + "/sys/class/drm";
    for (const auto& name : listDirectory(base)) {
        // "card0" is a GPU; "card0-DP-1" is one of its connectors.
        if (name.rfind("card", 0) != 0 || !parseUInt(std::string_view(name).substr(4))) continue;
        std::string file = base + "/" + name + "/device/gpu_busy_percent";
        if (readLine(file)) busyFiles_.push_back(std::move(file));
    }
}

std::optional<double> DrmGPUSource::read() {
    const double now = seconds_();
    bool scanned = false;
    if (!scannedAt_ || now - *scannedAt_ >= rescanPeriod || now < *scannedAt_) {
        scan();
        scannedAt_ = now;
        scanned = true;
    }
    std::vector<double> busy;
    for (;;) {
        bool gone = false;
        busy.clear();
        for (const auto& file : busyFiles_) {
            auto line = readLine(file);
            if (!line) {
                gone = true;  // unplugged, or its driver went away
                continue;
            }
            // A card that publishes something unreadable this time is simply not counted.
            if (auto percent = parseDouble(trim(*line))) busy.push_back(*percent);
        }
        if (!gone || scanned) break;
        scan();  // once: the cards that are left, and any that came
        scannedAt_ = now;
        scanned = true;
    }
    return busiestAccelerator(busy);
}

std::unique_ptr<GPUSource> makeGPUSource() { return std::make_unique<DrmGPUSource>(systemRoot()); }

}  // namespace qm
