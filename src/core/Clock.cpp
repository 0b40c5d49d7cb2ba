#include "core/Clock.h"

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
};
}  // namespace

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}

}  // namespace qm
