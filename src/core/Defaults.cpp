#include "core/Defaults.h"

#include <algorithm>
#include <cmath>

namespace qm {

double Defaults::doubleValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return 0;
    if (auto* d = std::get_if<double>(&*v)) return *d;
    if (auto* i = std::get_if<int64_t>(&*v)) return static_cast<double>(*i);
    if (auto* b = std::get_if<bool>(&*v)) return *b ? 1 : 0;
    return 0;
}

int64_t Defaults::intValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return 0;
    if (auto* i = std::get_if<int64_t>(&*v)) return *i;
    if (auto* d = std::get_if<double>(&*v)) return std::isfinite(*d) ? static_cast<int64_t>(*d) : 0;
    if (auto* b = std::get_if<bool>(&*v)) return *b ? 1 : 0;
    return 0;
}

bool Defaults::boolValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return false;
    if (auto* b = std::get_if<bool>(&*v)) return *b;
    if (auto* i = std::get_if<int64_t>(&*v)) return *i != 0;
    if (auto* d = std::get_if<double>(&*v)) return *d != 0;
    return false;
}

std::string Defaults::stringValue(const std::string& key) const {
    auto v = value(key);
    if (!v) return {};
    if (auto* s = std::get_if<std::string>(&*v)) return *s;
    return {};
}

int Defaults::observe(std::function<void(const std::string& key)> observer) {
    std::lock_guard guard(observersLock_);
    int token = nextToken_++;
    observers_.emplace_back(token, std::move(observer));
    return token;
}

void Defaults::removeObserver(int token) {
    std::lock_guard guard(observersLock_);
    std::erase_if(observers_, [token](const auto& entry) { return entry.first == token; });
}

void Defaults::notify(const std::string& key) {
    std::vector<std::function<void(const std::string&)>> copy;
    {
        std::lock_guard guard(observersLock_);
        for (auto& [token, fn] : observers_) copy.push_back(fn);
    }
    for (auto& fn : copy) fn(key);
}

std::optional<SettingValue> MemoryDefaults::value(const std::string& key) const {
    std::lock_guard guard(lock_);
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

void MemoryDefaults::set(const std::string& key, SettingValue newValue) {
    {
        std::lock_guard guard(lock_);
        values_[key] = std::move(newValue);
    }
    notify(key);
}

void MemoryDefaults::remove(const std::string& key) {
    {
        std::lock_guard guard(lock_);
        values_.erase(key);
    }
    notify(key);
}

std::map<std::string, SettingValue> MemoryDefaults::all() const {
    std::lock_guard guard(lock_);
    return values_;
}

}  // namespace qm
