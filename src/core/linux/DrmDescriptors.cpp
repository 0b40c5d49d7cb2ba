#include "core/linux/DrmDescriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace qm {

namespace {

// fdinfo of a DRM client is well under a page; anything longer is cut, not misread.
std::optional<std::string> readSmall(int directory, const char* path) {
    int fd = ::openat(directory, path, O_RDONLY | O_CLOEXEC);
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

DrmDescriptorCache::DrmDescriptorCache(const std::string& procDirectory)
    : procFd_(::open(procDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}

DrmDescriptorCache::~DrmDescriptorCache() {
    if (procFd_ >= 0) ::close(procFd_);
}

void DrmDescriptorCache::scan(int32_t pid, Entry& entry, double now) {
    entry.descriptors.clear();
    // Processes start at different times, so their minutes fall apart; the pid spreads
    // the ones first seen together (all of them, at start) over half a minute more.
    entry.dueAt = now + rescanPeriod * (1.0 + static_cast<double>(pid % 16) / 32.0);
    char path[32];
    std::snprintf(path, sizeof path, "%d/fd", pid);
    const int fdDirectory = procFd_ >= 0 ? ::openat(procFd_, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    DIR* dir = fdDirectory >= 0 ? ::fdopendir(fdDirectory) : nullptr;
    if (!dir) {
        if (fdDirectory >= 0) ::close(fdDirectory);
        return;  // another user's, or gone
    }
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

std::vector<DrmClient> DrmDescriptorCache::clients(int32_t pid, double now, uint64_t startTime) {
    auto [slot, isNew] = entries_.try_emplace(pid);
    Entry& entry = slot->second;
    entry.asked = true;
    if (isNew || entry.startTime != startTime || now >= entry.dueAt || now + 2 * rescanPeriod < entry.dueAt) {
        entry.startTime = startTime;
        scan(pid, entry, now);
    }
    std::vector<DrmClient> found;
    for (int fd : entry.descriptors) {
        char path[48];
        std::snprintf(path, sizeof path, "%d/fdinfo/%d", pid, fd);
        auto text = readSmall(procFd_, path);
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
