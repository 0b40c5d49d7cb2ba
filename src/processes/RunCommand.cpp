#include "processes/RunCommand.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace qm {

std::optional<std::string> runCommand(const std::string& program, const std::vector<std::string>& arguments) {
    int pipeFds[2];
    if (::pipe(pipeFds) != 0) return std::nullopt;
    ::fcntl(pipeFds[0], F_SETFD, FD_CLOEXEC);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    pid_t child = 0;
    int spawned = posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeFds[1]);
    if (spawned != 0) {
        ::close(pipeFds[0]);
        return std::nullopt;
    }

    std::string output;
    char buffer[16384];
    while (true) {
        ssize_t n = ::read(pipeFds[0], buffer, sizeof buffer);
        if (n > 0)
            output.append(buffer, static_cast<size_t>(n));
        else if (n == 0 || errno != EINTR)
            break;
    }
    ::close(pipeFds[0]);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    // A child that could not exec exits 127 with nothing written.
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127 && output.empty()) return std::nullopt;
    return output;
}

}  // namespace qm
