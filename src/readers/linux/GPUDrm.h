// Every GPU of a Linux machine from the DRM class in /sys and the DRM client usage in
// /proc/PID/fdinfo. amdgpu publishes its own busy figure ("gpu_busy_percent") and its
// VRAM; Intel's i915 and xe (and the Arm drivers) publish only each client's engine
// time, so their busy figure is the clients' time summed over the interval. Without
// root that sum covers this user's processes only (the desktop session's compositor
// and apps, which is where the GPU work of a desktop mostly is); it is absent when no
// client of the card can be seen.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/Platform.h"
#include "core/linux/DrmDescriptors.h"

namespace qm {

class DrmGPUSource : public GPUSource {
public:
    using Seconds = std::function<double()>;  // a monotonic clock
    // How often the cards are looked for again (external GPUs come and go).
    static constexpr double rescanPeriod = 60;

    explicit DrmGPUSource(std::string root, Seconds seconds = {});
    // The busiest card, capped at 100. Each read opens only the cards' own figure files
    // and, for cards measured by their clients, the fdinfo of the descriptors already
    // known to be DRM clients. The card list is read once a minute, and at once when a
    // known card is gone. A machine whose cards publish nothing costs one directory
    // listing a minute.
    std::optional<double> read() override;
    std::vector<GPUDevice> devices() const override { return devices_; }

private:
    struct Card {
        std::string directory;  // .../cardN/device
        std::string driver;
        std::string slot;  // PCI slot, the clients' "drm-pdev"; empty for other buses
        std::string name;
        bool publishesBusy = false;
        bool publishesVram = false;
        bool measuredByClients = false;

        const std::string& clientKey() const { return slot.empty() ? driver : slot; }
    };
    void scan();
    // False when a card that was there is gone.
    bool readCards(const std::map<std::string, double>& clientBusy);
    std::map<std::string, double> readClients(double now);

    std::string root_;
    Seconds seconds_;
    std::vector<Card> cards_;
    std::optional<double> scannedAt_;
    std::vector<GPUDevice> devices_;
    DrmDescriptorCache descriptors_;
    DrmClientTracker clients_;
};

}  // namespace qm
