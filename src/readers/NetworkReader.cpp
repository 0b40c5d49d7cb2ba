#include "readers/NetworkReader.h"

#include <array>

namespace qm {

NetworkReader::NetworkReader(std::unique_ptr<NetworkSource> source, const Clock& clock)
    : source_(std::move(source)), clock_(clock) {}

NetworkStats NetworkReader::read() {
    auto sums = source_->counters();
    Rates rates = counter_.update(sums, clock_.monotonic());
    NetworkStats stats;
    stats.rxRate = rates.in;
    stats.txRate = rates.out;
    stats.rxTotal = counter_.last().in;
    stats.txTotal = counter_.last().out;
    return stats;
}

bool isCountedDarwinInterface(std::string_view name) {
    static constexpr std::array<std::string_view, 9> skipped{"lo",  "utun", "awdl",  "llw", "gif",
                                                             "stf", "anpi", "ipsec", "ap"};
    for (auto prefix : skipped)
        if (name.starts_with(prefix)) return false;
    return true;
}

}  // namespace qm
