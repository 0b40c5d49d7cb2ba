// What a Linux GPU driver tells about each open DRM client (one open GPU file) in
// /proc/PID/fdinfo/FD: the engines' busy time, the memory its buffers hold. The same
// arithmetic serves the machine's GPU figure (all clients of a card) and each
// process's (its own clients), so it lives here, below both readers.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace qm {

// One engine class of one client ("render", "video", "gfx", "rcs"...).
struct DrmEngineCounter {
    uint64_t busy = 0;                    // nanoseconds busy, or GPU cycles busy
    std::optional<uint64_t> totalCycles;  // set when `busy` counts cycles: the cycles that passed meanwhile
    uint64_t capacity = 1;                // engines of this class the counter covers
};

struct DrmClient {
    std::string driver;
    std::string device;  // the PCI slot ("0000:00:02.0"); empty when the driver does not say
    uint64_t id = 0;     // unique per device while the client is open
    std::map<std::string, DrmEngineCounter, std::less<>> engines;
    std::optional<uint64_t> memory;  // bytes: all regions' totals, absent when none is published

    // The device for matching with a card: its PCI slot, else the driver's name.
    const std::string& deviceKey() const { return device.empty() ? driver : device; }
};

// Absent for the fdinfo of a descriptor that is no DRM client (no "drm-driver" key) and
// for a client without an id. Unknown or malformed keys are left out, not guessed.
std::optional<DrmClient> parseDrmClient(std::string_view fdinfo);

// Percent of each engine class's capacity used between two readings of one client.
using EngineShares = std::map<std::string, double, std::less<>>;

// Absent when nothing can be measured: no time passed, or a counter went backwards (the
// driver reset it, or the id now names another client). Engines that appear only in the
// newer reading are left out.
std::optional<EngineShares> engineShares(const DrmClient& before, const DrmClient& now, uint64_t elapsedNanos);
void addShares(EngineShares& into, const EngineShares& more);
// The busiest engine class, capped to 0-100: how busy a GPU is, as GPU monitors show it
// (the engines work side by side, so their shares do not add up). Absent when empty.
std::optional<double> busiestEngine(const EngineShares& shares);

// Follows every DRM client from one reading to the next. A client counts once per
// device however many descriptors or processes hold it (a forked child inherits its
// parent's); a new client is only a base for the next reading, and one that went away
// simply drops out.
class DrmClientTracker {
public:
    struct Owned {
        int32_t pid = 0;
        DrmClient client;
    };
    struct ProcessUsage {
        std::optional<double> busy;      // absent until one of its clients has a base
        std::optional<uint64_t> memory;  // its clients' memory, when any publishes it
    };
    struct Reading {
        std::unordered_map<int32_t, ProcessUsage> processes;  // every pid that holds a client
        std::map<std::string, double> deviceBusy;             // by deviceKey(), for devices with a measured client
    };

    Reading update(const std::vector<Owned>& clients, uint64_t nowNanos);

private:
    struct Key {
        int32_t pid = 0;
        std::string device;
        uint64_t id = 0;
        // Spelled out: clang-tidy 14 misreads a defaulted <=> as a comparison with 0.
        bool operator<(const Key& other) const {
            return std::tie(pid, device, id) < std::tie(other.pid, other.device, other.id);
        }
    };
    std::map<Key, DrmClient> previous_;
    std::optional<uint64_t> previousAt_;
};

}  // namespace qm
