#include "core/DrmClientUsage.h"

#include <algorithm>
#include <set>
#include <utility>

#include "core/FileRead.h"

namespace qm {

namespace {

// "<uint>", "<uint> ns", "<uint> KiB": the number and what follows it.
std::optional<std::pair<uint64_t, std::string_view>> numberAndUnit(std::string_view value) {
    value = trim(value);
    const size_t space = value.find(' ');
    auto number = parseUInt(value.substr(0, space));
    if (!number) return std::nullopt;
    return std::pair{*number, space == std::string_view::npos ? std::string_view() : trim(value.substr(space + 1))};
}

std::optional<uint64_t> bytes(std::string_view value) {
    auto parsed = numberAndUnit(value);
    if (!parsed) return std::nullopt;
    auto [number, unit] = *parsed;
    if (unit.empty() || unit == "B") return number;
    if (unit == "KiB") return number * 1024;
    if (unit == "MiB") return number * 1024 * 1024;
    if (unit == "GiB") return number * 1024 * 1024 * 1024;
    return std::nullopt;
}

bool startsWith(std::string_view text, std::string_view prefix, std::string_view& rest) {
    if (text.substr(0, prefix.size()) != prefix) return false;
    rest = text.substr(prefix.size());
    return !rest.empty();
}

}  // namespace

std::optional<DrmClient> parseDrmClient(std::string_view fdinfo) {
    DrmClient client;
    bool hasId = false;
    // Older drivers give each region's size as drm-memory-*; newer ones give drm-total-*
    // (and may give both, for the same buffers): the totals win when present.
    std::optional<uint64_t> totals, legacy;
    std::map<std::string, uint64_t, std::less<>> capacities;
    for (auto line : splitLines(fdinfo)) {
        const size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        const std::string_view key = trim(line.substr(0, colon));
        const std::string_view value = trim(line.substr(colon + 1));
        std::string_view name;
        if (key == "drm-driver") {
            client.driver = std::string(value);
        } else if (key == "drm-pdev") {
            client.device = std::string(value);
        } else if (key == "drm-client-id") {
            auto id = parseUInt(value);
            if (id) client.id = *id, hasId = true;
        } else if (startsWith(key, "drm-engine-capacity-", name)) {
            if (auto n = parseUInt(value); n && *n > 0) capacities[std::string(name)] = *n;
        } else if (startsWith(key, "drm-engine-", name)) {
            auto parsed = numberAndUnit(value);
            if (parsed && (parsed->second == "ns" || parsed->second.empty()))
                client.engines[std::string(name)].busy = parsed->first;
        } else if (startsWith(key, "drm-total-cycles-", name)) {
            if (auto n = parseUInt(value)) client.engines[std::string(name)].totalCycles = *n;
        } else if (startsWith(key, "drm-cycles-", name)) {
            if (auto n = parseUInt(value)) client.engines[std::string(name)].busy = *n;
        } else if (startsWith(key, "drm-total-", name)) {
            if (auto size = bytes(value)) totals = totals.value_or(0) + *size;
        } else if (startsWith(key, "drm-memory-", name)) {
            if (auto size = bytes(value)) legacy = legacy.value_or(0) + *size;
        }
    }
    if (client.driver.empty() || !hasId) return std::nullopt;
    for (const auto& [name, capacity] : capacities)
        if (auto engine = client.engines.find(name); engine != client.engines.end()) engine->second.capacity = capacity;
    client.memory = totals ? totals : legacy;
    return client;
}

std::optional<EngineShares> engineShares(const DrmClient& before, const DrmClient& now, uint64_t elapsedNanos) {
    if (elapsedNanos == 0) return std::nullopt;
    EngineShares shares;
    for (const auto& [name, counter] : now.engines) {
        auto old = before.engines.find(name);
        if (old == before.engines.end()) continue;
        const DrmEngineCounter& base = old->second;
        if (counter.busy < base.busy) return std::nullopt;
        const auto capacity = static_cast<double>(std::max<uint64_t>(counter.capacity, 1));
        const auto busy = static_cast<double>(counter.busy - base.busy);
        if (counter.totalCycles || base.totalCycles) {
            // Cycle counters measure against the GPU's own clock, not ours.
            if (!counter.totalCycles || !base.totalCycles) continue;
            if (*counter.totalCycles < *base.totalCycles) return std::nullopt;
            const uint64_t passed = *counter.totalCycles - *base.totalCycles;
            if (passed == 0) continue;
            shares[name] = busy / static_cast<double>(passed) / capacity * 100;
        } else {
            shares[name] = busy / static_cast<double>(elapsedNanos) / capacity * 100;
        }
    }
    return shares;
}

void addShares(EngineShares& into, const EngineShares& more) {
    for (const auto& [name, share] : more) into[name] += share;
}

std::optional<double> busiestEngine(const EngineShares& shares) {
    std::optional<double> best;
    for (const auto& entry : shares) best = std::max(best.value_or(entry.second), entry.second);
    if (best) best = std::clamp(*best, 0.0, 100.0);
    return best;
}

DrmClientTracker::Reading DrmClientTracker::update(const std::vector<Owned>& clients, uint64_t nowNanos) {
    // 0 when there is no earlier reading to measure from (or the clock did not move).
    const uint64_t elapsed = previousAt_ && nowNanos > *previousAt_ ? nowNanos - *previousAt_ : 0;
    std::map<Key, DrmClient> current;
    std::unordered_map<int32_t, EngineShares> processShares;
    std::map<std::string, EngineShares> deviceShares;
    std::set<std::pair<std::string, uint64_t>> countedForDevice;
    Reading reading;
    for (const auto& [pid, client] : clients) {
        Key key{pid, client.deviceKey(), client.id};
        if (!current.emplace(key, client).second) continue;  // another descriptor of the same client
        ProcessUsage& usage = reading.processes[pid];
        if (client.memory) usage.memory = usage.memory.value_or(0) + *client.memory;
        auto old = previous_.find(key);
        if (elapsed == 0 || old == previous_.end()) continue;
        auto shares = engineShares(old->second, client, elapsed);
        if (!shares || shares->empty()) continue;  // a driver that publishes no engine time
        addShares(processShares[pid], *shares);
        if (countedForDevice.emplace(key.device, key.id).second) addShares(deviceShares[key.device], *shares);
    }
    for (const auto& [pid, shares] : processShares) reading.processes[pid].busy = busiestEngine(shares).value_or(0);
    for (const auto& [device, shares] : deviceShares) reading.deviceBusy[device] = busiestEngine(shares).value_or(0);
    previous_ = std::move(current);
    previousAt_ = nowNanos;
    return reading;
}

}  // namespace qm
