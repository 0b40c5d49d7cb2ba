#include "core/linux/DrmDescriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

namespace qm {

namespace {

// fdinfo of a DRM client is well under a page; anything longer is cut, not misread.
std::optional<std::string> readSmall(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    char buffer[4096];
    ssize_t n;
    do {
        n = ::read(fd, buffer, sizeof buffer);
    } while (n < 0 && errno == EINTR);
    ::close(fd);
    if (n < 0) return std::nullopt;
    return std::string(buffer, static_cast<size_t>(n));
}

}  // namespace

DrmDescriptorCache::DrmDescriptorCache(std::string procDirectory) : procDirectory_(std::move(procDirectory)) {}

void DrmDescriptorCache::scan(int32_t pid, Entry& entry, double now) {
    entry.descriptors.clear();
    // Processes start at different times, so their minutes fall apart; the pid spreads
    // the ones first seen together (all of them, at start) over half a minute more.
    entry.dueAt = now + rescanPeriod * (1.0 + static_cast<double>(pid % 16) / 32.0);
    const std::string directory = procDirectory_ + "/" + std::to_string(pid) + "/fd";
    DIR* dir = ::opendir(directory.c_str());
    if (!dir) return;  // another user's, or gone
    constexpr std::string_view drm = "/dev/dri/";
    char target[64];
    while (auto* item = ::readdir(dir)) {
        const char* name = item->d_name;
        int fd = 0;
        auto [end, error] = std::from_chars(name, name + std::strlen(name), fd);
        if (error != std::errc() || *end != '\0') continue;
        ssize_t n = ::readlinkat(::dirfd(dir), name, target, sizeof target);
        if (n > 0 && std::string_view(target, static_cast<size_t>(n)).substr(0, drm.size()) == drm)
            entry.descriptors.push_back(fd);
    }
    ::closedir(dir);
}

std::vector<DrmClient> DrmDescriptorCache::clients(int32_t pid, double now) {
    auto [slot, isNew] = entries_.try_emplace(pid);
    Entry& entry = slot->second;
    entry.asked = true;
    if (isNew || now >= entry.dueAt || now + 2 * rescanPeriod < entry.dueAt) scan(pid, entry, now);
    std::vector<DrmClient> found;
    const std::string base = procDirectory_ + "/" + std::to_string(pid) + "/fdinfo/";
    for (int fd : entry.descriptors) {
        auto text = readSmall(base + std::to_string(fd));
        auto client = text ? parseDrmClient(*text) : std::nullopt;
        if (client)
            found.push_back(std::move(*client));
        else
            entry.dueAt = now;  // closed, or the number now names another file: look again next time
    }
    return found;
}

void DrmDescriptorCache::endRound() {
    std::erase_if(entries_, [](const auto& item) { return !item.second.asked; });
    for (auto& item : entries_) item.second.asked = false;
}

}  // namespace qm
