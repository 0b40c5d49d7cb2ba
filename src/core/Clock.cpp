#include "core/Clock.h"

#include <time.h>

#include <chrono>

namespace qm {

namespace {
class SystemClock : public Clock {
public:
    Date now() const override {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    }
    double monotonic() const override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    }
    double continuous() const override {
        // Linux's CLOCK_MONOTONIC stops during suspend, CLOCK_BOOTTIME does not; on
        // macOS CLOCK_MONOTONIC already counts sleep.
#ifdef CLOCK_BOOTTIME
        constexpr clockid_t id = CLOCK_BOOTTIME;
#else
        constexpr clockid_t id = CLOCK_MONOTONIC;
#endif
        timespec ts{};
        if (::clock_gettime(id, &ts) != 0) return monotonic();
        return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
    }
};
}  // namespace

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}

}  // namespace qm
