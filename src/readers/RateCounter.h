// Turns a pair of cumulative byte counters into per-second rates.
#pragma once

#include <optional>

#include "core/Platform.h"

namespace qm {

struct Rates {
    double in = 0;
    double out = 0;
};

class RateCounter {
public:
    // `sums` absent means the query failed: both rates 0, and the next good read
    // counts as a first read, so the whole cumulative sum never shows up as one
    // interval's burst. `now` is monotonic seconds.
    Rates update(std::optional<ByteCounters> sums, double now);
    ByteCounters last() const { return last_; }

private:
    ByteCounters last_{};
    std::optional<double> lastDate_;
};

}  // namespace qm
