#include "history/HistoryFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "core/Paths.h"

namespace qm {

std::string defaultHistoryPath() {
    if (const char* db = std::getenv("QUILLMERE_DB"); db != nullptr && *db != '\0') return db;
    return dataDirectory() + "/history.sqlite";
}

namespace {

bool makeDirectories(const std::string& path) {
    if (path.empty()) return false;
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
    auto slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) makeDirectories(path.substr(0, slash));
    if (::mkdir(path.c_str(), 0700) == 0) return true;
    return errno == EEXIST;
}

std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace

bool ensurePrivateDirectory(const std::string& path) {
    if (!makeDirectories(path)) return false;
    // The data folder holds the history and settings: it is the user's alone. Only the
    // folder itself, not one a symlink leads to, and only when it is ours.
    if (withoutTrailingSlashes(path) != withoutTrailingSlashes(dataDirectory())) return true;
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() &&
        (info.st_mode & 0077) != 0)
        ::chmod(path.c_str(), 0700);
    return true;
}

void createPrivateFile(const std::string& path) {
    // O_EXCL with O_CREAT never follows a symlink, dangling or not.
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0) ::close(fd);
}

void narrowToPrivate(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == ::geteuid() &&
        (info.st_mode & 0077) != 0)
        ::chmod(path.c_str(), 0600);
}

std::string historyPathRefusal(const std::string& path, bool writing) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0) {
        if (S_ISLNK(info.st_mode))
            return path +
                   " is a symbolic link; Quillmere opens only the history file itself (name it with --db or "
                   "QUILLMERE_DB)";
        if (writing && info.st_uid != ::geteuid())
            return path + " belongs to another user (uid " + std::to_string(info.st_uid) +
                   "); only that user records into it";
    }
    auto slash = path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
    if (writing && ::stat(folder.c_str(), &info) == 0 && info.st_uid != ::geteuid() && ::geteuid() == 0)
        return "the folder " + folder + " belongs to another user (uid " + std::to_string(info.st_uid) +
               "); only that user records into it";
    return {};
}

std::string whyUnusable(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return "it is a folder, not a file";
    int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd >= 0) {
        ::close(fd);
        // The file is fine: SQLite needs to create its -wal and -shm files beside it.
        auto slash = path.find_last_of('/');
        const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
        if (::access(folder.c_str(), W_OK) != 0)
            return "its folder is not writable (" + std::string(std::strerror(errno)) + ")";
        return "SQLite could not open it";
    }
    return std::strerror(errno);
}

bool hasHistoryFile(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return errno != ENOENT;
    return !S_ISREG(info.st_mode) || info.st_size > 0;
}

uint64_t fileBytes(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return 0;
    return static_cast<uint64_t>(info.st_size);
}

bool hasDatabaseHeader(const std::string& path) {
    static constexpr char header[] = "SQLite format 3";  // 16 bytes with its NUL
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return true;  // nothing readable to judge; the open step decides
    char start[sizeof header] = {};
    ssize_t n = ::read(fd, start, sizeof start);
    ::close(fd);
    if (n <= 0) return true;
    return n == static_cast<ssize_t>(sizeof start) && std::memcmp(start, header, sizeof header) == 0;
}

std::string corruptName(const std::string& path, int64_t utcSeconds) {
    std::time_t t = static_cast<std::time_t>(utcSeconds);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%SZ", &parts);
    return path + ".corrupt-" + stamp;
}

std::optional<std::string> moveDatabaseAside(const std::string& path, int64_t utcSeconds) {
    std::string target = corruptName(path, utcSeconds);
    // Two failures within one second must not overwrite the first file moved aside.
    for (int n = 2; ::access(target.c_str(), F_OK) == 0; ++n)
        target = corruptName(path, utcSeconds) + "-" + std::to_string(n);
    if (std::rename(path.c_str(), target.c_str()) != 0) return std::nullopt;
    // The WAL may hold the newest pages: it travels with the file it belongs to.
    for (const char* suffix : {"-wal", "-shm"}) {
        std::string from = path + suffix;
        if (::access(from.c_str(), F_OK) == 0) std::rename(from.c_str(), (target + suffix).c_str());
    }
    return target;
}

}  // namespace qm
