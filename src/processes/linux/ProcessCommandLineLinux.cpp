// /proc/PID/cmdline holds the arguments separated by NULs; it reads empty for kernel
// threads and for a process that has ended.
#include <string>

#include "core/FileRead.h"
#include "core/Paths.h"
#include "processes/ProcessCommandLine.h"

namespace qm {

std::string processCommandLine(int32_t pid) {
    if (pid <= 0) return {};
    auto raw = readFile(systemRoot() + "/proc/" + std::to_string(pid) + "/cmdline", 4096);
    return raw ? joinedArguments(std::move(*raw)) : std::string();
}

}  // namespace qm
