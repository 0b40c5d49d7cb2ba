// The client over a real Unix socket, against helpers that misbehave on purpose.
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pwd.h>

#include <thread>

#include "HelperTestSupport.h"
#include "core/HelperProtocol.h"
#include "core/Log.h"
#include "processes/HelperClient.h"
#include "processes/Sources.h"
#include "processes/linux/SocketHelperTransport.h"

namespace qm {
namespace {

using Seconds = std::chrono::duration<double>;

double timed(const std::function<void()>& work) {
    auto start = std::chrono::steady_clock::now();
    work();
    return Seconds(std::chrono::steady_clock::now() - start).count();
}

// Accepts one connection, reads the request and answers with `header` then `payload`.
void answerOnce(int listener, std::array<uint8_t, helper::headerSize> header, std::vector<uint8_t> payload) {
    int fd = ::accept(listener, nullptr, nullptr);
    if (fd < 0) return;
    uint8_t request[helper::headerSize];
    size_t got = 0;
    while (got < sizeof request) {
        ssize_t n = ::recv(fd, request + got, sizeof request - got, 0);
        if (n <= 0) break;
        got += static_cast<size_t>(n);
    }
    payload.insert(payload.begin(), header.begin(), header.end());
    (void)!::send(fd, payload.data(), payload.size(), MSG_NOSIGNAL);
    ::close(fd);
}

TEST(HelperSocketTest, StalledHelperCostsOneTickThenThirtySecondsOfNothing) {
    std::string path = test::temporarySocket("stalled");
    int listener = test::listenAt(path);  // listens, never accepts: a stalled helper
    ASSERT_GE(listener, 0);
    ManualClock clock;
    HelperClient client(std::make_unique<SocketHelperTransport>(path), clock);

    double first = timed([&] { EXPECT_FALSE(client.sample(0.6)); });
    EXPECT_GE(first, 0.59);
    EXPECT_LT(first, 3.0);
    double rest = timed([&] {
        for (int i = 0; i < 29; ++i) {
            clock.advance(1);
            EXPECT_FALSE(client.sample(0.6));
        }
    });
    EXPECT_LT(rest, 0.5) << "backing off must not wait";
    clock.advance(1.5);
    double retry = timed([&] { EXPECT_FALSE(client.sample(0.6)); });
    EXPECT_GE(retry, 0.59) << "after 30 seconds it tries once more";
    ::close(listener);

    // The socket file outlived its helper: refused at once, then backed off.
    ManualClock later;
    HelperClient orphan(std::make_unique<SocketHelperTransport>(path), later);
    EXPECT_LT(timed([&] { EXPECT_FALSE(orphan.sample(0.6)); }), 0.5);
    ::unlink(path.c_str());
    // No socket at all: not enabled, nothing tried.
    EXPECT_FALSE(SocketHelperTransport(path).isEnabled());
}

TEST(HelperSocketTest, MalformedAndForeignRepliesGiveNoRecords) {
    std::vector<std::string> logged;
    setLogSink([&](const std::string& line) { logged.push_back(line); });
    std::string path = test::temporarySocket("malformed");
    int listener = test::listenAt(path);
    ASSERT_GE(listener, 0);
    ManualClock clock;
    HelperClient client(std::make_unique<SocketHelperTransport>(path), clock);

    std::thread server(answerOnce, listener, helper::replyHeader(helper::Request::processes),
                       std::vector<uint8_t>(100, 7));
    auto batch = client.sample(5.0);
    server.join();
    ASSERT_TRUE(batch) << "a malformed reply is still an answer";
    EXPECT_TRUE(batch->empty());

    // Two whole records arrive as two records.
    std::vector<uint8_t> two;
    RawProcRecord{42, 0, 1, 2, 3, 0, 5, 6, 0}.packInto(two);
    RawProcRecord{43, 0, 1, 2, 3, 0, 5, 6, 0}.packInto(two);
    server = std::thread(answerOnce, listener, helper::replyHeader(helper::Request::processes), two);
    batch = client.sample(5.0);
    server.join();
    ASSERT_TRUE(batch);
    ASSERT_EQ(batch->size(), 2u);
    EXPECT_EQ((*batch)[1].pid, 43);
    EXPECT_EQ((*batch)[1].diskWrite, 6u);

    // A helper of another protocol version: not used, said once.
    auto foreign = helper::replyHeader(helper::Request::processes);
    foreign[4] = 9;
    for (int i = 0; i < 2; ++i) {
        clock.advance(31);
        server = std::thread(answerOnce, listener, foreign, two);
        EXPECT_FALSE(client.sample(0.6));
        server.join();
    }
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_NE(logged[0].find("protocol 9"), std::string::npos) << logged[0];
    setLogSink(nullptr);
    ::close(listener);
    ::unlink(path.c_str());

    EXPECT_TRUE(helper::unpackEnergyZones(std::vector<uint8_t>(47)).empty());
    std::vector<uint8_t> zone;
    helper::packEnergyZone({"intel-rapl:0", 123456789, 262143328850}, zone);
    auto zones = helper::unpackEnergyZones(zone);
    ASSERT_EQ(zones.size(), 1u);
    EXPECT_EQ(zones[0].name, "intel-rapl:0");
    EXPECT_EQ(zones[0].maxRangeUj, 262143328850u);
}

TEST(HelperDaemonTest, SurvivesGarbageSilenceAndHeldConnections) {
    std::string path = test::temporarySocket("survive");
    test::RunningHelper helper(path);
    ASSERT_TRUE(helper.listening());

    int silent = test::connectTo(path);   // connects, never sends
    int partial = test::connectTo(path);  // half a request, then nothing
    (void)!::send(partial, "QMH", 3, MSG_NOSIGNAL);
    int hoarder = test::connectTo(path);  // asks, never reads the answer
    auto frame = helper::requestFrame(helper::Request::processes);
    (void)!::send(hoarder, frame.data(), frame.size(), MSG_NOSIGNAL);
    int garbage = test::connectTo(path);
    const char junk[] = "GET / HTTP/1.0\r\n\r\n";
    (void)!::send(garbage, junk, sizeof junk, MSG_NOSIGNAL);
    char byte;
    // Closed unanswered (a reset, as the rest of the junk was never read).
    EXPECT_LE(::recv(garbage, &byte, 1, 0), 0) << "garbage gets no answer";
    ::close(garbage);
    // More connections than it serves at once are closed at once.
    std::vector<int> crowd;
    for (int i = 0; i < 40; ++i) crowd.push_back(test::connectTo(path));
    for (int fd : crowd) ::close(fd);

    // A real client is answered meanwhile (how fast is the benchmark's business).
    auto answer = helper::exchange(path, helper::Request::processes, 5.0);
    ASSERT_EQ(answer.outcome, helper::Exchange::Outcome::answered);
    EXPECT_EQ(answer.payload.size() % RawProcRecord::size, 0u);
    EXPECT_GT(answer.payload.size(), 0u);
    auto energy = helper::exchange(path, helper::Request::energy, 5.0);
    EXPECT_EQ(energy.outcome, helper::Exchange::Outcome::answered);

    // The crowd pushed the oldest silent ones out; the time limit closes a new one.
    EXPECT_LE(::recv(silent, &byte, 1, MSG_DONTWAIT), 0);
    int late = test::connectTo(path);
    timeval limit{10, 0};
    ::setsockopt(late, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    double waited = timed([&] { EXPECT_EQ(::recv(late, &byte, 1, 0), 0); });
    EXPECT_GT(waited, 1.5);
    EXPECT_LT(waited, 9.0);
    ::close(late);
    EXPECT_TRUE(helper.alive());
    EXPECT_EQ(helper::exchange(path, helper::Request::processes, 5.0).outcome, helper::Exchange::Outcome::answered);
    for (int fd : {silent, partial, hoarder}) ::close(fd);
}

// Whether a connection reaches `listener` within `seconds`; it is closed at once, so
// the client sees a failed exchange and falls back.
bool connectionArrives(int listener, int seconds) {
    pollfd waiting{listener, POLLIN, 0};
    if (::poll(&waiting, 1, seconds * 1000) != 1) return false;
    int fd = ::accept(listener, nullptr, nullptr);
    if (fd >= 0) ::close(fd);
    return fd >= 0;
}

// The machine's own process reader asks the helper for other users' disk counters,
// unless it runs as root and reads them itself.
TEST(HelperSocketTest, TheLiveProcessReaderAsksTheHelperUnlessRoot) {
    std::string path = test::temporarySocket("live");
    int listener = test::listenAt(path);
    ASSERT_GE(listener, 0);
    ::chmod(path.c_str(), 0666);
    ::setenv("QUILLMERE_HELPER_SOCKET", path.c_str(), 1);
    if (::getuid() != 0) {
        std::thread reading([] { makeProcessListSource()->read(true); });
        EXPECT_TRUE(connectionArrives(listener, 20));
        reading.join();
    } else {
        makeProcessListSource()->read(true);
        EXPECT_FALSE(connectionArrives(listener, 0)) << "root reads every io file itself";
        passwd* nobody = ::getpwnam("nobody");
        if (nobody) {
            pid_t client = ::fork();
            if (client == 0) {
                if (::setgroups(0, nullptr) != 0 || ::setresgid(nobody->pw_gid, nobody->pw_gid, nobody->pw_gid) != 0 ||
                    ::setresuid(nobody->pw_uid, nobody->pw_uid, nobody->pw_uid) != 0)
                    ::_exit(3);
                makeProcessListSource()->read(true);
                ::_exit(0);
            }
            EXPECT_TRUE(connectionArrives(listener, 20)) << "an unprivileged reader asks";
            int status = 0;
            ::waitpid(client, &status, 0);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the client could not become nobody";
        }
    }
    ::unsetenv("QUILLMERE_HELPER_SOCKET");
    ::close(listener);
    ::unlink(path.c_str());
}

TEST(HelperDaemonTest, ExitsWhenIdle) {
    std::string path = test::temporarySocket("idle");
    // Quiet from the start: it leaves after half a second (systemd keeps the socket).
    test::RunningHelper helper(path, "0.5");
    bool exited = false;
    for (int i = 0; i < 1000 && !exited; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        exited = !helper.alive();
    }
    EXPECT_TRUE(exited);
}

}  // namespace
}  // namespace qm
