// Settings kept in a JSON file (on Linux: $XDG_CONFIG_HOME/quillmere/settings.json).
// Every read first checks whether the file changed on disk (one stat), so a
// `quillmere config set` in another process takes effect without a restart; observers
// hear about each key that changed. Writes replace the file atomically (temporary file,
// then rename). A file that is not valid JSON is logged once and read as no settings;
// it is kept aside, never overwritten, when a setting is next saved. A file that cannot
// be read at all (too large, no permission) is reported as such and never saved over.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/Defaults.h"

namespace qm {

class FileDefaults : public Defaults {
public:
    explicit FileDefaults(std::string path);

    std::optional<SettingValue> value(const std::string& key) const override;
    void set(const std::string& key, SettingValue value) override;
    void remove(const std::string& key) override;
    std::map<std::string, SettingValue> all() const override;

    const std::string& path() const { return path_; }
    // Whether the last change could not be written to the file (it was logged).
    bool saveFailed() const {
        std::lock_guard guard(lock_);
        return saveFailed_;
    }
    // Re-reads the file if it changed since the last read and notifies observers.
    void reloadIfChanged() const;

private:
    // What identifies one version of the file without reading it.
    struct FileStamp {
        bool exists = false;
        ino_t inode = 0;
        off_t size = 0;
        timespec modified{};
        bool operator==(const FileStamp& other) const;
    };
    static FileStamp stampOf(const std::string& path);

    // Both expect lock_ to be held. reloadLocked returns the keys whose values changed.
    std::vector<std::string> reloadLocked() const;
    void saveLocked();
    void announce(const std::vector<std::string>& keys) const;

    std::string path_;
    mutable std::mutex lock_;
    // A cache of the file: refreshed from const reads.
    mutable std::map<std::string, SettingValue> values_;
    mutable FileStamp stamp_;
    mutable bool loaded_ = false;
    mutable bool malformed_ = false;
    mutable bool unreadable_ = false;  // too large or not readable: never saved over
    bool saveFailed_ = false;
};

// The settings of this user on this machine: a FileDefaults under configDirectory().
std::shared_ptr<Defaults> makePlatformDefaults();

}  // namespace qm
