// Where the sampler and its readers get the time, so tests can drive it.
#pragma once

#include <string>

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
    // Names this run of the machine: the continuous clock restarts with every boot, so
    // two readings of it compare only under the same name. Empty when unknown.
    virtual std::string bootId() const { return {}; }
    // True when time synchronisation (NTP) vouches for the wall clock right now; a
    // clock set by hand is not synchronised until the service corrects it.
    virtual bool synchronized() const { return false; }

    static Clock& system();
};

// A clock that only moves when told to. `set` moves the wall clock alone, as a
// person changing the time would; `reboot` starts a new run of the machine.
class ManualClock : public Clock {
public:
    explicit ManualClock(Date start = 1'700'000'000.0) : wall_(start), mono_(1000.0) {}
    Date now() const override { return wall_; }
    double monotonic() const override { return mono_; }
    std::string bootId() const override { return "boot-" + std::to_string(boot_); }
    bool synchronized() const override { return synchronized_; }
    void advance(double seconds) {
        wall_ += seconds;
        mono_ += seconds;
    }
    void set(Date wall) { wall_ = wall; }
    void reboot() {
        boot_ += 1;
        mono_ = 10.0;
    }
    void setSynchronized(bool synchronized) { synchronized_ = synchronized; }

private:
    Date wall_;
    double mono_;
    int boot_ = 1;
    bool synchronized_ = false;
};

}  // namespace qm
