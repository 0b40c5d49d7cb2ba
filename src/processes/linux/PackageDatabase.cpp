#include "processes/linux/PackageDatabase.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "core/FileRead.h"
#include "core/Log.h"
#include "processes/Provenance.h"

namespace qm {

namespace {

uint64_t pathHash(std::string_view path) { return std::hash<std::string_view>{}(path); }

// Whether another process holds a write lock on the file (dpkg and apt use fcntl locks).
bool lockHeld(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct flock query {};
    query.l_type = F_WRLCK;
    query.l_whence = SEEK_SET;
    bool held = ::fcntl(fd, F_GETLK, &query) == 0 && query.l_type != F_UNLCK;
    ::close(fd);
    return held;
}

}  // namespace

std::optional<std::string> fileMD5(const std::string& path, uint64_t limit) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::unique_ptr<int, void (*)(int*)> closer(&fd, [](int* f) { ::close(*f); });
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || static_cast<uint64_t>(st.st_size) > limit) return std::nullopt;
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1) return std::nullopt;
    std::vector<unsigned char> buffer(1 << 16);
    uint64_t total = 0;
    for (;;) {
        ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        total += static_cast<uint64_t>(n);
        if (total > limit) return std::nullopt;
        if (EVP_DigestUpdate(context.get(), buffer.data(), static_cast<size_t>(n)) != 1) return std::nullopt;
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1) return std::nullopt;
    static constexpr char hex[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += hex[digest[i] >> 4];
        text += hex[digest[i] & 15];
    }
    return text;
}

PackageDatabase::PackageDatabase(std::string root) : PackageDatabase(std::move(root), Limits{}) {}

PackageDatabase::PackageDatabase(std::string root, Limits limits)
    : root_(std::move(root)), infoDir_(root_ + "/var/lib/dpkg/info"), limits_(limits) {}

void PackageDatabase::buildIndex() {
    indexed_ = true;
    auto names = listDirectory(infoDir_);
    uint64_t bytes = 0;
    for (const auto& name : names) {
        // dpkg writes "<package>.list-new" and renames it, so a ".list" file is whole;
        // a last line without its newline is still dropped in case one is not.
        if (name.size() <= 5 || !name.ends_with(".list")) continue;
        auto text = readFile(infoDir_ + "/" + name, limits_.indexBytes - bytes + 1);
        if (!text) continue;
        bytes += text->size();
        if (bytes > limits_.indexBytes) {
            logLine("the package database is larger than " + std::to_string(limits_.indexBytes >> 20) +
                    " MB; where programs came from is not shown");
            packages_.clear();
            owners_.clear();
            owners_.shrink_to_fit();
            return;
        }
        auto package = static_cast<uint32_t>(packages_.size());
        packages_.push_back(name.substr(0, name.size() - 5));
        std::string_view whole(*text);
        if (!whole.empty() && whole.back() != '\n') whole = whole.substr(0, whole.rfind('\n') + 1);
        for (auto line : splitLines(whole))
            if (line.starts_with('/')) owners_.emplace_back(pathHash(line), package);
    }
    std::sort(owners_.begin(), owners_.end());
    usable_ = !packages_.empty();
}

std::optional<std::pair<uint32_t, std::string>> PackageDatabase::owner(const std::vector<std::string>& names) const {
    for (const auto& name : names) {
        auto hash = pathHash(name);
        auto found = std::lower_bound(owners_.begin(), owners_.end(), std::make_pair(hash, uint32_t{0}));
        if (found != owners_.end() && found->first == hash) return std::make_pair(found->second, name);
    }
    return std::nullopt;
}

bool PackageDatabase::dpkgBusy() const {
    return lockHeld(root_ + "/var/lib/dpkg/lock") || lockHeld(root_ + "/var/lib/dpkg/lock-frontend");
}

SignatureInfo PackageDatabase::classify(const std::string& path) {
    SignatureInfo unknown;
    if (path.empty() || path[0] != '/') return unknown;
    // "/proc/<pid>/exe" of a program whose file was deleted or replaced since it started:
    // what runs is no longer on disk to check.
    if (path.ends_with(" (deleted)")) return unknown;
    if (auto store = storeOrigin(path)) return fromStore(*store);

    struct stat st {};
    if (::stat((root_ + path).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return unknown;
    if (!indexed_) buildIndex();
    if (!usable_) return unknown;  // no dpkg database (another distribution), or too large

    auto listed = owner(packagePathAliases(path));
    if (!listed) return withoutPackage();
    const std::string& listName = packages_[listed->first];
    std::string package = packageName(listName);
    auto sums = readFile(infoDir_ + "/" + listName + ".md5sums", 64 << 20);
    auto recorded = sums ? recordedChecksum(*sums, listed->second) : std::nullopt;
    // A few packages ship no checksums: owned by a package is all that can be said.
    if (!recorded) return packagedUnchanged(package);
    auto actual = fileMD5(root_ + path, limits_.checksumBytes);
    if (!actual) return unknown;
    if (*actual == *recorded) return packagedUnchanged(package);
    // While dpkg is unpacking, new files and old checksums meet: not a modification.
    if (dpkgBusy()) return unknown;
    return packagedModified(package);
}

}  // namespace qm
