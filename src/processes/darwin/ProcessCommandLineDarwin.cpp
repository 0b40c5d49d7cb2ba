// KERN_PROCARGS2 gives argc, the executable's path, NUL padding, then the arguments
// followed by the environment; only the first argc strings after the padding are
// arguments. The system refuses it for other users' processes unless we are root.
#include <sys/sysctl.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "processes/ProcessCommandLine.h"

namespace qm {

std::string processCommandLine(int32_t pid) {
    if (pid <= 0) return {};
    int argumentMax = 0;
    size_t size = sizeof argumentMax;
    int argmaxName[2] = {CTL_KERN, KERN_ARGMAX};
    if (sysctl(argmaxName, 2, &argumentMax, &size, nullptr, 0) != 0 || argumentMax <= 0) return {};
    std::vector<char> buffer(static_cast<size_t>(argumentMax));
    size = buffer.size();
    int name[3] = {CTL_KERN, KERN_PROCARGS2, pid};
    if (sysctl(name, 3, buffer.data(), &size, nullptr, 0) != 0 || size < sizeof(int)) return {};
    int argc = 0;
    std::memcpy(&argc, buffer.data(), sizeof argc);
    const char* end = buffer.data() + size;
    const char* at = buffer.data() + sizeof argc;
    at = std::find(at, end, '\0');                                 // past the executable's path
    at = std::find_if(at, end, [](char c) { return c != '\0'; });  // past its padding
    std::string raw;
    constexpr size_t limit = 4096;
    for (int i = 0; i < argc && at < end && raw.size() < limit; ++i) {
        const char* stop = std::find(at, end, '\0');
        raw.append(at, stop);
        raw.push_back('\0');
        at = stop + (stop < end ? 1 : 0);
    }
    if (raw.size() > limit) raw.resize(limit);
    return joinedArguments(std::move(raw));
}

}  // namespace qm
