#include "readers/CPUReader.h"

#include <algorithm>

namespace qm {

namespace {
constexpr size_t kStates = 4;  // user, system, idle, nice
enum { kUser = 0, kSystem = 1, kIdle = 2, kNice = 3 };
}  // namespace

CPUReader::CPUReader(std::unique_ptr<CPUSource> source, std::vector<CPUStats::CoreType> coreTypes)
    : source_(std::move(source)), coreTypes_(std::move(coreTypes)) {}

CPUStats cpuShares(const std::vector<uint32_t>& previous, const std::vector<uint32_t>& current) {
    CPUStats stats;
    const size_t cpus = current.size() / kStates;
    stats.perCore.assign(cpus, 0.0);
    if (previous.size() != current.size()) return stats;

    double busyUser = 0, busySystem = 0, all = 0;
    for (size_t i = 0; i < cpus; ++i) {
        auto delta = [&](int state) {
            return static_cast<uint32_t>(current[i * kStates + state] - previous[i * kStates + state]);
        };
        const double du = delta(kUser), ds = delta(kSystem), di = delta(kIdle), dn = delta(kNice);
        const double busy = du + ds + dn;
        const double sum = busy + di;
        stats.perCore[i] = sum > 0 ? busy / sum * 100.0 : 0.0;
        busyUser += du + dn;
        busySystem += ds;
        all += sum;
    }
    if (all > 0) {
        stats.user = busyUser / all * 100.0;
        stats.system = busySystem / all * 100.0;
        stats.total = std::min(stats.user + stats.system, 100.0);
    }
    return stats;
}

CPUStats CPUReader::read() {
    std::vector<uint32_t> counters = source_->processorTicks();
    if (counters.size() < kStates) return CPUStats{};  // the kernel call failed: keep previous_

    CPUStats stats = cpuShares(previous_, counters);
    const size_t cpus = stats.perCore.size();
    stats.coreTypes =
        coreTypes_.size() == cpus ? coreTypes_ : std::vector<CPUStats::CoreType>(cpus, CPUStats::CoreType::unknown);
    if (auto load = source_->loadAverage()) stats.load = *load;
    previous_ = std::move(counters);
    return stats;
}

}  // namespace qm
