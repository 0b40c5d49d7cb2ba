#include "processes/UserNames.h"

#include <pwd.h>
#include <unistd.h>

#include <mutex>
#include <unordered_map>
#include <vector>

namespace qm {

std::string userName(uint32_t uid) {
    static std::mutex lock;
    static std::unordered_map<uint32_t, std::string> known;
    std::lock_guard<std::mutex> hold(lock);
    if (auto found = known.find(uid); found != known.end()) return found->second;
    std::string name = std::to_string(uid);
    passwd entry{};
    passwd* result = nullptr;
    const long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(suggested > 0 ? static_cast<size_t>(suggested) : 16384);
    if (::getpwuid_r(static_cast<uid_t>(uid), &entry, buffer.data(), buffer.size(), &result) == 0 && result &&
        result->pw_name && *result->pw_name)
        name = result->pw_name;
    known.emplace(uid, name);
    return name;
}

}  // namespace qm
