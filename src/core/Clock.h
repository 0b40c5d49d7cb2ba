// Where the sampler and its readers get the time, so tests can drive it.
#pragma once

#include <atomic>
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
// person changing the time would; `reboot` starts a new run of the machine. The test
// thread moves it while the history store's and the sampler's threads read it, so
// every reading is atomic; only the test thread moves it.
class ManualClock : public Clock {
public:
    explicit ManualClock(Date start = 1'700'000'000.0) : wall_(start), mono_(1000.0) {}
    Date now() const override { return wall_.load(); }
    double monotonic() const override { return mono_.load(); }
    std::string bootId() const override { return "boot-" + std::to_string(boot_.load()); }
    bool synchronized() const override { return synchronized_.load(); }
    void advance(double seconds) {
        wall_.store(wall_.load() + seconds);
        mono_.store(mono_.load() + seconds);
    }
    void set(Date wall) { wall_.store(wall); }
    void reboot() {
        boot_.store(boot_.load() + 1);
        mono_.store(10.0);
    }
    void setSynchronized(bool synchronized) { synchronized_.store(synchronized); }

private:
    std::atomic<Date> wall_;
    std::atomic<double> mono_;
    std::atomic<int> boot_{1};
    std::atomic<bool> synchronized_{false};
};

}  // namespace qm
