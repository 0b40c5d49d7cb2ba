// Turns the stream of snapshots into the few notable events worth remembering: an app
// that burns CPU for minutes, an app whose memory keeps growing, memory pressure,
// thermal throttling, search indexing, heavy swapping, and the power adapter coming
// and going. Each condition is reported once and then held back for a cool-down; what
// is already the case at launch is never reported (the first snapshot only primes).
// Used only from the sampler's queue; no locks.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/Clock.h"
#include "core/Defaults.h"
#include "core/HistorySink.h"
#include "core/Snapshot.h"

namespace qm {

// The processes of the platform's file indexer, whose load is reported as a
// `spotlight` event.
struct IndexerSet {
    std::vector<std::string> processNames;
    bool isSpotlight = true;  // the detail names mds_stores and mdworker; otherwise the names seen

    static IndexerSet spotlight();     // mds_stores, mdworker_shared, corespotlightd
    static IndexerSet linuxDesktop();  // tracker-miner-fs-3, localsearch, baloo_file(_extractor)
    static IndexerSet forThisPlatform();
};

class EventDetector : public SnapshotDetector {
public:
    using MemorySample = std::pair<Date, uint64_t>;

    // Settings come from `defaults` (Defaults::shared() when null), read on every call
    // so a change takes effect at once; `clock` gives the date of each event.
    explicit EventDetector(Defaults* defaults = nullptr, const Clock& clock = Clock::system(),
                           IndexerSet indexers = IndexerSet::forThisPlatform());

    std::vector<TimelineEvent> process(const Snapshot& snapshot) override;

    // At least 5 samples, and at least three steps in four do not go down.
    static bool isMostlyRising(const std::vector<MemorySample>& trail);

private:
    void checkHighCPU(const Snapshot& s, Date now, std::vector<TimelineEvent>& out);
    void checkMemoryGrowth(const Snapshot& s, Date now, std::vector<TimelineEvent>& out);
    void checkPressure(const Snapshot& s, const AppGroup* biggest, Date now, std::vector<TimelineEvent>& out);
    void checkThermal(const Snapshot& s, const AppGroup* busiest, Date now, std::vector<TimelineEvent>& out);
    void checkIndexing(const Snapshot& s, Date now, std::vector<TimelineEvent>& out);
    void checkSwap(const Snapshot& s, Date now, std::vector<TimelineEvent>& out);
    void checkPower(const Snapshot& s, Date now, std::vector<TimelineEvent>& out);
    Defaults& settings() const;

    Defaults* defaults_;
    const Clock& clock_;
    IndexerSet indexers_;

    std::map<std::string, Date> highCPUSince;
    std::map<std::string, Date> highCPUReported;
    std::map<std::string, std::vector<MemorySample>> memoryTrail;
    std::map<std::string, Date> leakReported;
    // Per group: each process's (pid, start time) memory when its trail first saw it.
    std::map<std::string, std::map<std::pair<int32_t, uint64_t>, uint64_t>> processMemoryAtStart;
    std::optional<Date> lastMemoryCheck;  // none: the distant past
    PressureLevel lastPressure = PressureLevel::normal;
    std::map<int, Date> pressureReported;
    int lastThermal = 0;
    std::optional<Date> thermalReported;
    std::optional<bool> lastOnAC;
    std::optional<Date> spotlightSince;
    std::optional<Date> spotlightReported;
    double lastSwapGB = 0;
    bool primed = false;
};

}  // namespace qm
