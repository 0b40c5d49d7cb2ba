// Where the sampler and its readers get the time, so tests can drive it.
#pragma once

#include "core/Snapshot.h"

namespace qm {

class Clock {
public:
    virtual ~Clock() = default;
    // Wall-clock time, seconds since 1970.
    virtual Date now() const = 0;
    // A monotonic time in seconds, for measuring intervals that must not jump.
    virtual double monotonic() const = 0;
    // A monotonic time in seconds that keeps counting while the machine sleeps, for
    // telling a suspended machine from a wall clock that was changed.
    virtual double continuous() const { return monotonic(); }

    static Clock& system();
};

// A clock that only moves when told to.
class ManualClock : public Clock {
public:
    explicit ManualClock(Date start = 1'700'000'000.0) : wall_(start), mono_(1000.0) {}
    Date now() const override { return wall_; }
    double monotonic() const override { return mono_; }
    void advance(double seconds) {
        wall_ += seconds;
        mono_ += seconds;
    }
    void set(Date wall) { wall_ = wall; }

private:
    Date wall_;
    double mono_;
};

}  // namespace qm
