#include "core/FileDefaults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "core/FileRead.h"
#include "core/JsonText.h"
#include "core/Log.h"
#include "core/Paths.h"

namespace qm {

namespace {

std::map<std::string, SettingValue> decode(const nlohmann::json& object) {
    std::map<std::string, SettingValue> values;
    for (const auto& [key, item] : object.items()) {
        if (item.is_boolean())
            values[key] = item.get<bool>();
        else if (item.is_number_integer() && !item.is_number_unsigned())
            values[key] = item.get<int64_t>();
        else if (item.is_number_unsigned())
            values[key] = item.get<uint64_t>() <= static_cast<uint64_t>(INT64_MAX)
                              ? SettingValue(static_cast<int64_t>(item.get<uint64_t>()))
                              : SettingValue(item.get<double>());
        else if (item.is_number_float())
            values[key] = item.get<double>();
        else if (item.is_string())
            values[key] = item.get<std::string>();
        // Arrays, objects and null are not settings of ours: left out.
    }
    return values;
}

nlohmann::json encode(const std::map<std::string, SettingValue>& values) {
    nlohmann::json object = nlohmann::json::object();
    // Not a structured binding: clang before 16 cannot capture those in a lambda.
    for (const auto& entry : values) std::visit([&](const auto& v) { object[entry.first] = v; }, entry.second);
    return object;
}

bool makeDirectories(const std::string& path) {
    struct stat info {};
    if (path.empty() || ::stat(path.c_str(), &info) == 0) return true;
    auto slash = path.find_last_of('/');
    if (slash != std::string::npos && slash > 0) makeDirectories(path.substr(0, slash));
    return ::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST;
}

std::string directoryOf(const std::string& path) {
    auto slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// Writes the whole text to a new file beside `path` and renames it over `path`, so a
// reader never sees half a file.
bool replaceFile(const std::string& path, const std::string& text) {
    makeDirectories(directoryOf(path));
    std::string temporary = path + ".tmp-" + std::to_string(::getpid());
    int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    bool ok = done == text.size() && ::fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok && std::rename(temporary.c_str(), path.c_str()) == 0) return true;
    ::unlink(temporary.c_str());
    return false;
}

}  // namespace

bool FileDefaults::FileStamp::operator==(const FileStamp& other) const {
    return exists == other.exists && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

FileDefaults::FileStamp FileDefaults::stampOf(const std::string& path) {
    FileStamp stamp;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return stamp;
    stamp.exists = true;
    stamp.inode = info.st_ino;
    stamp.size = info.st_size;
#ifdef __APPLE__
    stamp.modified = info.st_mtimespec;
#else
    stamp.modified = info.st_mtim;
#endif
    return stamp;
}

FileDefaults::FileDefaults(std::string path) : path_(std::move(path)) {}

std::vector<std::string> FileDefaults::reloadLocked() const {
    FileStamp now = stampOf(path_);
    if (loaded_ && now == stamp_) return {};
    loaded_ = true;
    stamp_ = now;

    std::map<std::string, SettingValue> fresh;
    malformed_ = false;
    unreadable_ = false;
    if (now.exists) {
        constexpr size_t limit = 4 << 20;
        const bool tooLarge = now.size > static_cast<off_t>(limit);
        auto text = tooLarge ? std::nullopt : readFile(path_, limit);
        const int reason = errno;
        auto parsed = text ? nlohmann::json::parse(*text, nullptr, false) : nlohmann::json();
        if (!text) {
            // Not the same thing as a file of bad JSON: nothing of it may be replaced.
            unreadable_ = true;
            logLine("settings file " + path_ + " " +
                    (tooLarge ? "is larger than 4 MB" : "cannot be read (" + std::string(std::strerror(reason)) + ")") +
                    "; using the defaults");
        } else if (!parsed.is_discarded() && parsed.is_object()) {
            fresh = decode(parsed);
        } else if (trim(*text).empty()) {
            // An empty file is simply no settings yet.
        } else {
            malformed_ = true;
            logLine("settings file " + path_ + " is not valid JSON; using the defaults");
        }
    }

    std::vector<std::string> changed;
    for (const auto& [key, value] : fresh) {
        auto old = values_.find(key);
        if (old == values_.end() || !(old->second == value)) changed.push_back(key);
    }
    for (const auto& [key, value] : values_)
        if (!fresh.contains(key)) changed.push_back(key);
    values_ = std::move(fresh);
    return changed;
}

void FileDefaults::announce(const std::vector<std::string>& keys) const {
    // Observers live in the base class, whose notify is not const; a reload from a
    // const read is still a change the observers must hear about.
    for (const auto& key : keys) const_cast<FileDefaults*>(this)->notify(key);
}

void FileDefaults::reloadIfChanged() const {
    std::vector<std::string> changed;
    {
        std::lock_guard guard(lock_);
        changed = reloadLocked();
    }
    announce(changed);
}

std::optional<SettingValue> FileDefaults::value(const std::string& key) const {
    reloadIfChanged();
    std::lock_guard guard(lock_);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

std::map<std::string, SettingValue> FileDefaults::all() const {
    reloadIfChanged();
    std::lock_guard guard(lock_);
    return values_;
}

void FileDefaults::saveLocked() {
    saveFailed_ = true;  // until the file is written
    if (unreadable_) {
        // Saving would replace the user's settings with only the one just changed.
        logLine("could not save settings: " + path_ + " cannot be read, so it is left as it is");
        return;
    }
    if (malformed_) {
        // Never write over what the user typed: keep the broken file beside the new one.
        std::string aside = path_ + ".malformed";
        for (int n = 2; ::access(aside.c_str(), F_OK) == 0; ++n) aside = path_ + ".malformed-" + std::to_string(n);
        if (std::rename(path_.c_str(), aside.c_str()) != 0) {
            logLine("could not save settings: " + path_ + " is not valid JSON and could not be moved aside");
            return;
        }
        logLine("settings file " + path_ + " was not valid JSON; kept it as " + aside);
        malformed_ = false;
    }
    if (!replaceFile(path_, jsonText(encode(values_), 2) + "\n")) {
        logLine("could not save settings to " + path_);
        return;
    }
    saveFailed_ = false;
    stamp_ = stampOf(path_);
}

void FileDefaults::set(const std::string& key, SettingValue newValue) {
    std::vector<std::string> changed;
    {
        std::lock_guard guard(lock_);
        changed = reloadLocked();  // keep what another process saved meanwhile
        values_[key] = std::move(newValue);
        saveLocked();
    }
    changed.push_back(key);
    announce(changed);
}

void FileDefaults::remove(const std::string& key) {
    std::vector<std::string> changed;
    {
        std::lock_guard guard(lock_);
        changed = reloadLocked();
        if (values_.erase(key) > 0) {
            saveLocked();
            changed.push_back(key);
        }
    }
    announce(changed);
}

std::shared_ptr<Defaults> makePlatformDefaults() {
    // macOS keeps the same file for now; user defaults through CFPreferences can
    // replace it without changing any reader.
    return std::make_shared<FileDefaults>(configDirectory() + "/settings.json");
}

}  // namespace qm
