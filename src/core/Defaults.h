// The user's settings under dotted keys ("refresh.interval", "alert.highCPU.threshold").
// A change made anywhere takes effect at once: readers read through this interface
// every time, and observers hear about each change.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace qm {

using SettingValue = std::variant<bool, int64_t, double, std::string>;

class Defaults {
public:
    virtual ~Defaults() = default;

    virtual std::optional<SettingValue> value(const std::string& key) const = 0;
    virtual void set(const std::string& key, SettingValue value) = 0;
    virtual void remove(const std::string& key) = 0;
    virtual std::map<std::string, SettingValue> all() const = 0;

    // Typed reads; an unset key reads as 0, false or "" like the platform's user defaults.
    double doubleValue(const std::string& key) const;
    int64_t intValue(const std::string& key) const;
    bool boolValue(const std::string& key) const;
    std::string stringValue(const std::string& key) const;
    bool contains(const std::string& key) const { return value(key).has_value(); }

    // Called after any key changes, with that key. Returns a token for removal.
    int observe(std::function<void(const std::string& key)> observer);
    void removeObserver(int token);

    // The settings of this user on this machine (file-backed on Linux).
    static Defaults& shared();
    // Replaces what shared() returns (tests, or the command line with another file).
    static void setShared(std::shared_ptr<Defaults> defaults);

protected:
    void notify(const std::string& key);

private:
    mutable std::mutex observersLock_;
    std::vector<std::pair<int, std::function<void(const std::string&)>>> observers_;
    int nextToken_ = 1;
};

// Settings held in memory only: tests, and the fallback when no file can be used.
class MemoryDefaults : public Defaults {
public:
    std::optional<SettingValue> value(const std::string& key) const override;
    void set(const std::string& key, SettingValue value) override;
    void remove(const std::string& key) override;
    std::map<std::string, SettingValue> all() const override;

private:
    mutable std::mutex lock_;
    std::map<std::string, SettingValue> values_;
};

}  // namespace qm
