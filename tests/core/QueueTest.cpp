// The real queues: named threads, and timer leeways that reach the kernel as the
// serving thread's timer slack (so that background ticks can coalesce).
#include <gtest/gtest.h>

#ifdef __linux__
#include <sys/prctl.h>
#include <unistd.h>
#endif

#include <fstream>

#include "core/Queue.h"
#include "core/TimerSlack.h"

namespace qm {
namespace {

#ifdef __linux__
long slackOn(SerialQueue& queue) {
    long slack = -1;
    queue.sync([&] { slack = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0); });
    return slack;
}

TEST(ThreadQueue, LeewaysBecomeTheThreadsSlackAndTheThreadIsNamed) {
    auto queue = makeThreadQueue("app.quillmere.test");
    std::string name;
    queue->sync([&] {
        std::ifstream comm("/proc/self/task/" + std::to_string(::gettid()) + "/comm");
        std::getline(comm, name);
    });
    EXPECT_EQ(name, "qm.test");
    EXPECT_EQ(slackOn(*queue), 50'000) << "no timer: the kernel's default";

    auto background = queue->repeating(3600, 1.5, [] {});
    EXPECT_EQ(slackOn(*queue), 1'500'000'000);
    auto live = queue->repeating(3600, 0.1, [] {});
    EXPECT_EQ(slackOn(*queue), 100'000'000) << "no timer may fire later than its own leeway";
    live.reset();
    EXPECT_EQ(slackOn(*queue), 1'500'000'000);
    background.reset();
    EXPECT_EQ(slackOn(*queue), 50'000);

    // A thread made by one with a large slack starts from the default all the same.
    std::unique_ptr<SerialQueue> child;
    auto keep = queue->repeating(3600, 2, [] {});
    queue->sync([&] { child = makeThreadQueue("app.quillmere.child"); });
    EXPECT_EQ(slackOn(*child), 50'000);
    keep.reset();
}

TEST(ThreadQueue, BoundedWaitsKeepTheDefaultSlackAndRestoreTheThreads) {
    auto queue = makeThreadQueue("app.quillmere.test");
    auto background = queue->repeating(3600, 1.5, [] {});
    long inside = -1, after = -1;
    queue->sync([&] {
        {
            PreciseTimeouts precise;
            inside = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
        }
        after = ::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0);
    });
    EXPECT_EQ(inside, 50'000);
    EXPECT_EQ(after, 1'500'000'000);
    background.reset();
}
#endif

// A borrowed queue serves its work and timers on the lender, which runs them inline
// when asked from its own thread.
TEST(BorrowedQueue, WorkAndTimersRunOnTheLender) {
    MainLoop loop;
    auto borrowed = borrowQueue(loop);
    int ran = 0;
    borrowed->sync([&] { ++ran; });  // on the loop's own thread: inline
    EXPECT_EQ(ran, 1);
    borrowed->post([&] { ++ran; });
    int fired = 0;
    auto timer = borrowed->repeating(0.001, 0, [&] {
        if (++fired == 3) loop.stop();
    });
    loop.runFor(20);  // a guard: three millisecond ticks take far less
    EXPECT_EQ(ran, 2);
    EXPECT_EQ(fired, 3);
}

}  // namespace
}  // namespace qm
