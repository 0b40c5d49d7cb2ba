#include "readers/linux/GPUDrm.h"

#include <algorithm>
#include <chrono>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/GPUSourceList.h"
#include "readers/GPUUtilisation.h"
#include "readers/Sources.h"
#include "readers/linux/GPUNvml.h"

namespace qm {

namespace {

double monotonicSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Drivers that publish each client's engine time in fdinfo but no busy figure of the card.
bool measuredByClients(const std::string& driver) {
    static const std::vector<std::string> drivers{"i915", "xe", "msm", "panfrost", "panthor", "v3d", "etnaviv"};
    return std::find(drivers.begin(), drivers.end(), driver) != drivers.end();
}

std::string vendorName(const std::string& directory, const std::string& driver) {
    auto vendor = readLine(directory + "/vendor");
    const std::string id = vendor ? std::string(trim(*vendor)) : std::string();
    if (id == "0x8086" || driver == "i915" || driver == "xe") return "Intel GPU";
    if (id == "0x1002" || driver == "amdgpu") return "AMD GPU";
    if (id == "0x10de" || driver == "nouveau") return "NVIDIA GPU";
    return driver + " GPU";
}

std::optional<double> readNumber(const std::string& path, bool& failed) {
    auto line = readLine(path);
    if (!line) {
        failed = true;
        return std::nullopt;
    }
    // A file that reads but says something unreadable is simply not counted this time.
    return parseDouble(trim(*line));
}

}  // namespace

DrmGPUSource::DrmGPUSource(std::string root, Seconds seconds)
    : root_(std::move(root)),
      seconds_(seconds ? std::move(seconds) : Seconds(monotonicSeconds)),
      descriptors_(root_ + "/proc") {}

void DrmGPUSource::scan() {
    cards_.clear();
    const std::string base = root_ + "/sys/class/drm";
    auto names = listDirectory(base);
    std::sort(names.begin(), names.end());
    for (const auto& name : names) {
        // "card0" is a GPU; "card0-DP-1" is one of its connectors.
        if (name.rfind("card", 0) != 0 || !parseUInt(std::string_view(name).substr(4))) continue;
        Card card;
        card.directory = base + "/" + name + "/device";
        const std::string uevent = readFile(card.directory + "/uevent", 4096).value_or("");
        for (auto line : splitLines(uevent)) {
            if (line.rfind("DRIVER=", 0) == 0) card.driver = std::string(line.substr(7));
            if (line.rfind("PCI_SLOT_NAME=", 0) == 0) card.slot = std::string(line.substr(14));
        }
        card.publishesBusy = readLine(card.directory + "/gpu_busy_percent").has_value();
        card.publishesVram = readLine(card.directory + "/mem_info_vram_total").has_value();
        card.measuredByClients = !card.publishesBusy && measuredByClients(card.driver);
        // A display adapter that publishes nothing (a virtual machine's) is no GPU to show.
        if (!card.publishesBusy && !card.publishesVram && !card.measuredByClients) continue;
        auto product = readLine(card.directory + "/product_name");
        card.name =
            product && !trim(*product).empty() ? std::string(trim(*product)) : vendorName(card.directory, card.driver);
        cards_.push_back(std::move(card));
    }
}

std::map<std::string, double> DrmGPUSource::readClients(double now) {
    std::vector<DrmClientTracker::Owned> owned;
    for (const auto& name : listDirectory(root_ + "/proc")) {
        auto pid = parseUInt(name);
        if (!pid || *pid == 0 || *pid > 0x7fffffff) continue;
        for (auto& client : descriptors_.clients(static_cast<int32_t>(*pid), now))
            owned.push_back({static_cast<int32_t>(*pid), std::move(client)});
    }
    descriptors_.endRound();
    return clients_.update(owned, static_cast<uint64_t>(now * 1e9)).deviceBusy;
}

bool DrmGPUSource::readCards(const std::map<std::string, double>& clientBusy) {
    bool present = true;
    devices_.clear();
    for (const auto& card : cards_) {
        GPUDevice device;
        device.name = card.name;
        device.driver = card.driver;
        bool failed = false;
        if (card.publishesBusy) device.busy = readNumber(card.directory + "/gpu_busy_percent", failed);
        if (card.measuredByClients)
            if (auto busy = clientBusy.find(card.clientKey()); busy != clientBusy.end()) device.busy = busy->second;
        if (device.busy) device.busy = busiestAccelerator({*device.busy});
        if (card.publishesVram) {
            auto used = readNumber(card.directory + "/mem_info_vram_used", failed);
            auto total = readNumber(card.directory + "/mem_info_vram_total", failed);
            if (used && total && *used >= 0 && *total > 0) {
                device.memoryUsed = static_cast<uint64_t>(*used);
                device.memoryTotal = static_cast<uint64_t>(*total);
            }
        }
        if (failed) {
            present = false;  // unplugged, or its driver went away
            continue;
        }
        devices_.push_back(std::move(device));
    }
    return present;
}

std::optional<double> DrmGPUSource::read() {
    const double now = seconds_();
    bool scanned = false;
    if (!scannedAt_ || now - *scannedAt_ >= rescanPeriod || now < *scannedAt_) {
        scan();
        scannedAt_ = now;
        scanned = true;
    }
    const bool anyByClients =
        std::any_of(cards_.begin(), cards_.end(), [](const Card& card) { return card.measuredByClients; });
    const auto clientBusy = anyByClients ? readClients(now) : std::map<std::string, double>{};
    if (!readCards(clientBusy) && !scanned) {
        scan();  // once: the cards that are left, and any that came
        scannedAt_ = now;
        readCards(clientBusy);
    }
    std::vector<double> busy;
    for (const auto& device : devices_)
        if (device.busy) busy.push_back(*device.busy);
    return busiestAccelerator(busy);
}

// The DRM cards and, where NVIDIA's driver is installed, its GPUs (whose own driver
// publishes nothing in the DRM class).
std::unique_ptr<GPUSource> makeGPUSource() {
    std::vector<std::unique_ptr<GPUSource>> sources;
    sources.push_back(std::make_unique<DrmGPUSource>(systemRoot()));
    sources.push_back(std::make_unique<NvmlGPUSource>(systemRoot()));
    return std::make_unique<GPUSourceList>(std::move(sources));
}

}  // namespace qm
