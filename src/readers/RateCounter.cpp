#include "readers/RateCounter.h"

#include <algorithm>

namespace qm {

Rates RateCounter::update(std::optional<ByteCounters> sums, double now) {
    if (!sums) {
        last_ = {};
        lastDate_.reset();
        return {};
    }
    Rates rates;
    // A counter that went down (an interface or disk vanished, or was reset) gives
    // no rate for this read rather than a negative or wrapped one.
    if (lastDate_ && sums->in >= last_.in && sums->out >= last_.out) {
        const double elapsed = std::max(now - *lastDate_, 0.001);
        rates.in = static_cast<double>(sums->in - last_.in) / elapsed;
        rates.out = static_cast<double>(sums->out - last_.out) / elapsed;
    }
    last_ = *sums;
    lastDate_ = now;
    return rates;
}

}  // namespace qm
