#include "knowledge/ExecutablePath.h"

#include <mach-o/dyld.h>

#include <climits>
#include <cstdlib>
#include <vector>

namespace qm {

std::optional<std::string> executableDirectory() {
    uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);  // asks for the buffer size
    std::vector<char> buffer(size + 1, '\0');
    if (_NSGetExecutablePath(buffer.data(), &size) != 0) return std::nullopt;
    char resolved[PATH_MAX];
    std::string path = realpath(buffer.data(), resolved) ? resolved : buffer.data();
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) return std::nullopt;
    return path.substr(0, slash == 0 ? 1 : slash);
}

}  // namespace qm
