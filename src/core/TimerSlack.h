// How late the kernel may end this thread's sleeps so that it can serve several
// wake-ups of the machine at once (Linux timer slack; nothing elsewhere).
#pragma once

namespace qm {

// Lets every timed sleep of the calling thread (poll, epoll_wait, nanosleep) end up
// to `seconds` late; 0 restores the kernel's default (50 µs).
void setThreadTimerSlack(double seconds);

// Short, bounded waits that must stay bounded (a helper's 0.6 s time-out) while the
// thread otherwise sleeps with a generous slack: the default slack for the guard's life.
class PreciseTimeouts {
public:
    PreciseTimeouts();
    ~PreciseTimeouts();
    PreciseTimeouts(const PreciseTimeouts&) = delete;
    PreciseTimeouts& operator=(const PreciseTimeouts&) = delete;

private:
    long saved_ = -1;  // nanoseconds, or -1 when nothing was changed
};

}  // namespace qm
