// The helper as root and the app as an unprivileged user, on this machine.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>

#include <fstream>
#include <sstream>

#include "HelperTestSupport.h"
#include "core/FileRead.h"
#include "core/HelperProtocol.h"
#include "processes/ProcessReader.h"
#include "processes/linux/LinuxProcessSource.h"
#include "processes/linux/ProcStat.h"
#include "processes/linux/SocketHelperTransport.h"

namespace qm {
namespace {

struct ByName : KeyResolver {
    GroupKey computeKey(const ProcessSample& s, const SamplesByPID&, uint64_t startTime) override {
        return GroupKey{"proc:" + s.name, s.name, ProcessKind::background, std::nullopt, std::nullopt,
                        startTime,        s.name};
    }
};

// Blocking one-byte signals between the test's processes.
void signal(int fd) {
    char c = 1;
    (void)!::write(fd, &c, 1);
}
bool await(int fd) {
    char c;
    return ::read(fd, &c, 1) == 1;
}

// Writes `bytes` to a file and forces them to the disk, so the kernel counts them.
void writeAndSync(const std::string& file, size_t bytes) {
    int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    std::vector<char> block(bytes, 'q');
    (void)!::write(fd, block.data(), block.size());
    ::fsync(fd);
    ::close(fd);
}

uint64_t writtenBytes(pid_t pid) {
    auto io = readFile("/proc/" + std::to_string(pid) + "/io");
    return io ? parseProcIO(*io).writeBytes : 0;
}

TEST(HelperEndToEndTest, UnprivilegedClientGetsExactDiskFiguresOfARootProcess) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root: the helper runs as root and the client as nobody";
    passwd* nobody = ::getpwnam("nobody");
    if (!nobody) GTEST_SKIP() << "no user nobody";
    gid_t nogroup = nobody->pw_gid;

    std::string path = test::temporarySocket("e2e");
    test::RunningHelper daemon(path);
    ASSERT_TRUE(daemon.listening());
    // /var/tmp is on a disk where /tmp may be memory, whose writes the kernel does not count.
    std::filesystem::path folder = std::filesystem::is_directory("/var/tmp") ? std::filesystem::path("/var/tmp")
                                                                             : std::filesystem::temp_directory_path();
    std::string file = folder / ("qm-e2e-" + std::to_string(::getpid()) + ".bin");

    // A root process that writes 4 MiB, waits, writes 2 MiB more, and waits.
    int toWriter[2], fromWriter[2], toClient[2], fromClient[2];
    ASSERT_EQ(::pipe(toWriter), 0);
    ASSERT_EQ(::pipe(fromWriter), 0);
    pid_t writer = ::fork();
    if (writer == 0) {
        writeAndSync(file, 4 << 20);
        signal(fromWriter[1]);
        await(toWriter[0]);
        writeAndSync(file, 2 << 20);
        signal(fromWriter[1]);
        await(toWriter[0]);
        ::_exit(0);
    }
    ASSERT_TRUE(await(fromWriter[0]));
    if (writtenBytes(writer) == 0) {
        ::kill(writer, SIGKILL);
        ::waitpid(writer, nullptr, 0);
        std::filesystem::remove(file);
        GTEST_SKIP() << "the file system under " << folder << " does not count written bytes";
    }
    // Another user holds 40 connections open without asking anything: that costs
    // only their own share, and the client below is answered all the same.
    std::vector<int> crowd;
    for (int i = 0; i < 40; ++i) crowd.push_back(test::connectTo(path));
    // Made after the writer started, so that only the client holds their ends.
    ASSERT_EQ(::pipe(toClient), 0);
    ASSERT_EQ(::pipe(fromClient), 0);

    // The app's side, as nobody (what setpriv --reuid=nobody --regid=nogroup
    // --clear-groups does), reading every process through its reader and the helper.
    pid_t client = ::fork();
    if (client == 0) {
        if (::setgroups(0, nullptr) != 0 || ::setresgid(nogroup, nogroup, nogroup) != 0 ||
            ::setresuid(nobody->pw_uid, nobody->pw_uid, nobody->pw_uid) != 0)
            ::_exit(3);
        std::ostringstream report;
        report << "own-io-readable=" << (readFile("/proc/" + std::to_string(writer) + "/io") ? 1 : 0) << "\n";
        // Without the helper, root's disk figures are unknown and the row says so.
        ManualClock alone;
        ProcessReader unaided(std::make_unique<LinuxProcessSource>(""), std::make_unique<ByName>(),
                              std::make_unique<NoHelperTransport>(), alone);
        for (const auto& s : unaided.readDetailed(true).processes)
            if (s.pid == writer) report << "unaided-approximate=" << s.approximate << "\n";
        // A hand-driven clock lets a tick that missed the helper (a slow, loaded or
        // sanitized build) retry at once instead of backing off for 30 seconds.
        ManualClock clock;
        ProcessReader reader(std::make_unique<LinuxProcessSource>(""), std::make_unique<ByName>(),
                             std::make_unique<SocketHelperTransport>(path), clock);
        auto readWithHelper = [&] {
            auto result = reader.readDetailed(true);
            for (int attempt = 0; attempt < 4 && !result.helperActive; ++attempt) {
                clock.advance(31);
                result = reader.readDetailed(true);
            }
            return result;
        };
        auto first = readWithHelper();
        signal(fromClient[1]);
        await(toClient[0]);
        auto second = readWithHelper();
        report << "helper-active=" << first.helperActive << second.helperActive << "\n";
        for (const auto& s : second.processes) {
            if (s.pid != writer) continue;
            report << "restricted=" << s.isRestricted << "\napproximate=" << s.approximate
                   << "\nwrite-rate=" << s.diskWriteRate << "\nwakeups=" << s.wakeups << "\n";
        }
        auto batch = helper::exchange(path, helper::Request::processes, 5.0);
        for (const auto& r : RawProcRecord::unpack(batch.payload))
            if (r.pid == writer) report << "written=" << r.diskWrite << "\n";
        std::string text = report.str();
        (void)!::write(fromClient[1], text.data(), text.size());
        ::_exit(0);
    }
    ::close(fromClient[1]);  // a client that dies early ends the waits below
    ::close(toClient[0]);
    ASSERT_TRUE(await(fromClient[0])) << "the client died";
    signal(toWriter[1]);  // 2 MiB more between the client's two reads
    ASSERT_TRUE(await(fromWriter[0]));
    for (int fd : crowd) ::close(fd);
    uint64_t written = writtenBytes(writer);
    signal(toClient[1]);
    int status = 0;
    ::waitpid(client, &status, 0);
    std::string report;
    char buffer[4096];
    for (ssize_t n; (n = ::read(fromClient[0], buffer, sizeof buffer)) > 0;) report.append(buffer, n);
    signal(toWriter[1]);
    ::waitpid(writer, nullptr, 0);
    std::filesystem::remove(file);
    for (int fd : {toWriter[0], toWriter[1], fromWriter[0], fromWriter[1], toClient[1], fromClient[0]}) ::close(fd);

    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the client could not become nobody";
    EXPECT_GE(written, uint64_t{6} << 20);
    EXPECT_NE(report.find("own-io-readable=0"), std::string::npos) << "nobody must not read root's io itself\n"
                                                                   << report;
    EXPECT_NE(report.find("helper-active=11"), std::string::npos) << report;
    EXPECT_NE(report.find("restricted=1"), std::string::npos) << report;
    EXPECT_NE(report.find("unaided-approximate=1"), std::string::npos) << report;
    EXPECT_NE(report.find("\napproximate=0"), std::string::npos) << report;
    EXPECT_NE(report.find("written=" + std::to_string(written) + "\n"), std::string::npos)
        << "the helper's figure is the kernel's own\n"
        << report;
    auto rate = report.find("write-rate=");
    ASSERT_NE(rate, std::string::npos) << report;
    EXPECT_GT(std::stod(report.substr(rate + 11)), 0.0) << report;
    // The writer woke to write between the reads: counted from its context switches,
    // not replaced by the helper's zero.
    auto wakeups = report.find("wakeups=");
    ASSERT_NE(wakeups, std::string::npos) << report;
    EXPECT_GT(std::stod(report.substr(wakeups + 8)), 0.0) << report;
}

}  // namespace
}  // namespace qm
