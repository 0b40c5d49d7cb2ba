// Every process on the machine, once per sampler tick: counters turned into rates,
// other users' processes covered by the helper, `ps` or their last known figures,
// and the samples grouped under the apps that own them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "core/Clock.h"
#include "core/Platform.h"
#include "processes/AppGrouping.h"
#include "processes/HelperClient.h"
#include "processes/ProcessSource.h"

namespace qm {

class ProcessReader : public ProcessListSource {
public:
    static constexpr double helperTimeout = 0.6;    // seconds the sampler may wait for the helper
    static constexpr double psCacheLifetime = 4.5;  // seconds between two `ps` runs

    struct Result {
        std::vector<ProcessSample> processes;  // in enumeration order
        std::vector<AppGroup> groups;
        bool restrictedVisible = false;
        bool helperActive = false;
    };

    ProcessReader(std::unique_ptr<ProcessSource> source, std::unique_ptr<KeyResolver> resolver,
                  std::unique_ptr<HelperTransport> helper = nullptr, const Clock& clock = Clock::system());

    // The sampler's view: groups, count and flags.
    ProcessReadResult read(bool includeRestricted) override;
    void setMachinePower(std::optional<double> watts) override { machinePower_ = watts; }
    // The same read with the individual samples.
    Result readDetailed(bool includeRestricted);

    // The identity of one process: cached while its start time and command name are
    // unchanged (exec keeps the first and changes the second).
    Identity identity(const BasicInfo& info);
    // Runs `ps` unless its figures are younger than psCacheLifetime.
    void refreshPSIfNeeded();

private:
    struct PSFigures {
        double cpu = 0;    // percent
        uint64_t rss = 0;  // bytes
    };
    struct PSBase {
        double cpuSeconds = 0;
        double date = 0;  // monotonic seconds
    };

    ProcessSample restrictedSample(const BasicInfo& info, const Identity& id, bool psTick);
    void addGPU(const std::vector<BasicInfo>& infos, uint64_t now, std::vector<ProcessSample>& samples);

    std::unique_ptr<ProcessSource> source_;
    const Clock& clock_;
    AppGrouper grouper_;
    HelperClient helper_;
    std::unordered_map<int32_t, Identity> identities_;
    std::unordered_set<int32_t> unreadable_;
    std::unordered_map<int32_t, ProcessSample> lastRestricted_;
    std::unordered_map<int32_t, Counters> previous_;
    std::unordered_map<int32_t, PSBase> psPrevious_;
    std::unordered_map<int32_t, PSFigures> psCache_;
    std::optional<double> psCacheDate_;  // monotonic seconds
    double timebase_;
    uint32_t ownUID_;
    std::optional<double> machinePower_;
    DrmClientTracker gpuClients_;
};

// Where the platform keeps no energy per process (Linux), each process gets the share
// of the machine's power that matches its share of the CPU time all processes used in
// the interval, as Linux power tools estimate it; these figures are approximate. With
// the machine's power unknown they stay absent. A tick in which no process used CPU
// gives everyone 0 W.
void shareMachinePower(std::vector<ProcessSample>& samples, std::optional<double> machineWatts);

}  // namespace qm
