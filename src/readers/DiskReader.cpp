#include "readers/DiskReader.h"

namespace qm {

namespace {
constexpr double kSpaceCheckPeriod = 60.0;
}

DiskReader::DiskReader(std::unique_ptr<DiskSource> source, const Clock& clock)
    : source_(std::move(source)), clock_(clock) {}

DiskStats DiskReader::read() {
    const double now = clock_.monotonic();
    Rates rates = counter_.update(source_->counters(), now);

    if (!spaceCheckedAt_ || now - *spaceCheckedAt_ > kSpaceCheckPeriod) {
        // A failed query keeps zeros until the next attempt a minute later.
        cachedSpace_ = source_->space().value_or(VolumeSpace{});
        spaceCheckedAt_ = now;
    }

    DiskStats stats;
    stats.readRate = rates.in;
    stats.writeRate = rates.out;
    stats.totalSpace = cachedSpace_.total;
    stats.freeSpace = cachedSpace_.free;
    return stats;
}

}  // namespace qm
