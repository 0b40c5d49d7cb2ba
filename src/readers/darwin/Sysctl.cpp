#include "readers/darwin/Sysctl.h"

#include <sys/sysctl.h>
#include <sys/time.h>

#include <cstring>
#include <vector>

namespace qm::Sysctl {

std::optional<int64_t> integer(const char* name) {
    // Some keys are 32-bit, others 64-bit: read into 8 zeroed bytes and look at the size returned.
    int64_t value = 0;
    size_t size = sizeof value;
    if (sysctlbyname(name, &value, &size, nullptr, 0) != 0) return std::nullopt;
    if (size == sizeof(int32_t)) {
        int32_t narrow = 0;
        std::memcpy(&narrow, &value, sizeof narrow);
        return narrow;
    }
    if (size != sizeof(int64_t)) return std::nullopt;
    return value;
}

std::optional<std::string> string(const char* name) {
    size_t size = 0;
    if (sysctlbyname(name, nullptr, &size, nullptr, 0) != 0 || size == 0) return std::nullopt;
    std::vector<char> buffer(size);
    if (sysctlbyname(name, buffer.data(), &size, nullptr, 0) != 0) return std::nullopt;
    return std::string(buffer.data(), strnlen(buffer.data(), size));
}

std::optional<Date> bootTime() {
    int mib[2] = {CTL_KERN, KERN_BOOTTIME};
    timeval boot{};
    size_t size = sizeof boot;
    if (sysctl(mib, 2, &boot, &size, nullptr, 0) != 0 || size != sizeof boot) return std::nullopt;
    return static_cast<Date>(boot.tv_sec);
}

}  // namespace qm::Sysctl
