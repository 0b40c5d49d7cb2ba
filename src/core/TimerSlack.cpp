#include "core/TimerSlack.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <cmath>

namespace qm {

namespace {
// The kernel's own default. Set explicitly rather than with 0, which would restore
// the slack the thread inherited from whoever created it.
constexpr unsigned long kDefaultSlackNs = 50'000;
// Slack below this is what every thread has anyway; nothing to undo for it.
constexpr long kOrdinarySlackNs = 1'000'000;
}  // namespace

void setThreadTimerSlack(double seconds) {
#ifdef __linux__
    const double ns = std::isfinite(seconds) && seconds > 0 ? std::min(seconds, 60.0) * 1e9 : 0;
    ::prctl(PR_SET_TIMERSLACK, std::max(kDefaultSlackNs, static_cast<unsigned long>(ns)), 0, 0, 0);
#else
    (void)seconds;
#endif
}

PreciseTimeouts::PreciseTimeouts() {
#ifdef __linux__
    const long slack = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
    if (slack > kOrdinarySlackNs) {
        saved_ = slack;
        ::prctl(PR_SET_TIMERSLACK, kDefaultSlackNs, 0, 0, 0);
    }
#endif
}

PreciseTimeouts::~PreciseTimeouts() {
#ifdef __linux__
    if (saved_ > 0) ::prctl(PR_SET_TIMERSLACK, static_cast<unsigned long>(saved_), 0, 0, 0);
#endif
}

}  // namespace qm
