#include "core/Clock.h"

#include <time.h>

#include <chrono>
#include <fstream>

#ifdef __linux__
#include <sys/timex.h>
#endif
#ifdef __APPLE__
#include <sys/sysctl.h>
#endif

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
    std::string bootId() const override {
#ifdef __linux__
        std::ifstream file("/proc/sys/kernel/random/boot_id");
        std::string id;
        std::getline(file, id);
        return id;
#elif defined(__APPLE__)
        char uuid[64] = {};
        size_t size = sizeof uuid - 1;
        if (::sysctlbyname("kern.bootsessionuuid", uuid, &size, nullptr, 0) != 0) return {};
        return uuid;
#else
        return {};
#endif
    }
    bool synchronized() const override {
#ifdef __linux__
        // Setting the clock by hand marks it unsynchronised; an NTP service clears the
        // mark once it has set the time itself.
        timex state{};
        const int result = ::adjtimex(&state);
        return result != -1 && result != TIME_ERROR && (state.status & STA_UNSYNC) == 0;
#else
        return false;
#endif
    }
};
}  // namespace

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}

}  // namespace qm
