#include "readers/darwin/BatteryHealthDarwin.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

extern char** environ;

namespace qm {

namespace {

// Runs the system profiler for the power data type as JSON and parses its report.
// Blocks for seconds; only ever called on a background thread.
std::optional<double> measureWithSystemProfiler() {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return std::nullopt;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeEnds[0]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    const char* argv[] = {"/usr/sbin/system_profiler", "SPPowerDataType", "-json", nullptr};
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    if (spawned != 0) {
        close(pipeEnds[0]);
        return std::nullopt;
    }

    std::string output;
    char buffer[8192];
    for (;;) {
        ssize_t n = read(pipeEnds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        output.append(buffer, static_cast<size_t>(n));
    }
    close(pipeEnds[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
    return parseBatteryHealthReport(output);
}

}  // namespace

AppleBatteryHealth& appleBatteryHealth() {
    static AppleBatteryHealth health(
        measureWithSystemProfiler, [](std::function<void()> job) { std::thread(std::move(job)).detach(); },
        [] {
        using namespace std::chrono;
        return duration<double>(steady_clock::now().time_since_epoch()).count();
        });
    return health;
}

}  // namespace qm
