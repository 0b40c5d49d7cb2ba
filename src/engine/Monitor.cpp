#include "engine/Monitor.h"

#include <algorithm>
#include <cmath>

#include "history/HistoryStore.h"

namespace qm {

namespace {

constexpr double kDay = 86'400;

void append(std::vector<double>& series, double value, size_t limit) {
    series.push_back(std::isfinite(value) ? value : 0.0);
    if (series.size() > limit)
        series.erase(series.begin(), series.begin() + static_cast<std::ptrdiff_t>(series.size() - limit));
}

bool newestFirst(const TimelineEvent& a, const TimelineEvent& b) { return a.date > b.date; }

}  // namespace

Monitor::Monitor(SerialQueue& main, std::unique_ptr<Sampler> sampler, HistoryStore* history)
    : main_(main), sampler_(std::move(sampler)), history_(history) {}

Monitor::~Monitor() {
    *alive_ = false;
    // The sampler's callbacks capture this monitor; silence them before it goes.
    sampler_->queue().sync([this] {
        sampler_->onSnapshot = nullptr;
        sampler_->onEvents = nullptr;
    });
}

void Monitor::start() {
    std::weak_ptr<bool> alive = alive_;
    sampler_->onSnapshot = [this, alive](const Snapshot& snapshot) {
        main_.post([this, alive, snapshot] {
            if (alive.lock() && *alive.lock()) apply(snapshot);
        });
    };
    sampler_->onEvents = [this, alive](const std::vector<TimelineEvent>& events) {
        main_.post([this, alive, events] {
            if (alive.lock() && *alive.lock()) receive(events);
        });
    };
    sampler_->start();
    if (!history_) return;

    readHistoryEvents();
    history_->lastUnplugged([this, alive](std::optional<Date> date) {
        main_.post([this, alive, date] {
            if (!(alive.lock() && *alive.lock()) || !date) return;
            const auto& battery = snapshot_.battery;
            if (hasData_ && battery.present && battery.onAC) return;  // plugged in: no session
            if (!batterySessionStart_) {
                batterySessionStart_ = date;
                notify();
            }
        });
    });
}

void Monitor::readHistoryEvents() {
    if (!history_ || historyEventsPending_) return;
    historyEventsPending_ = true;
    std::weak_ptr<bool> alive = alive_;
    const Date now = Clock::system().now();
    history_->events(now - kDay, now, [this, alive](std::vector<TimelineEvent> events) {
        main_.post([this, alive, events = std::move(events)] {
            if (!(alive.lock() && *alive.lock())) return;
            historyEventsPending_ = false;
            mergeHistoryEvents(events);
        });
    });
}

void Monitor::mergeHistoryEvents(const std::vector<TimelineEvent>& events) {
    bool added = false;
    for (const auto& event : events) {
        const bool held = std::any_of(recentEvents_.begin(), recentEvents_.end(), [&](const TimelineEvent& e) {
            return (e.id != 0 && e.id == event.id) || e == event;
        });
        if (held) continue;
        recentEvents_.push_back(event);
        added = true;
    }
    if (!added) return;
    std::stable_sort(recentEvents_.begin(), recentEvents_.end(), newestFirst);
    if (recentEvents_.size() > maxRecentEvents) recentEvents_.resize(maxRecentEvents);
    notify();
}

void Monitor::receive(const std::vector<TimelineEvent>& events) {
    std::vector<TimelineEvent> batch = events;
    std::stable_sort(batch.begin(), batch.end(), newestFirst);
    recentEvents_.insert(recentEvents_.begin(), batch.begin(), batch.end());
    if (recentEvents_.size() > maxRecentEvents) recentEvents_.resize(maxRecentEvents);
    notify();
    if (onEvents) onEvents(events);
}

void Monitor::apply(const Snapshot& s) {
    const Snapshot previous = std::move(snapshot_);
    snapshot_ = s;
    hasData_ = true;

    append(cpuSeries_, s.cpu.total, maxPoints);
    const double total = static_cast<double>(s.memory.total);
    append(memorySeries_, total > 0 ? static_cast<double>(s.memory.used()) / total * 100.0 : 0.0, maxPoints);
    // Power that nothing measured (no reading yet, or none on this machine) adds no
    // point: a line at 0 W would claim a figure.
    std::optional<double> power = s.systemPower;
    if (!power)
        for (const auto& group : s.groups)
            if (group.power) power = power.value_or(0) + *group.power;
    if (power) append(powerSeries_, *power, maxPoints);
    append(gpuSeries_, s.gpu.value_or(0.0), maxPoints);
    append(tempSeries_, s.thermal.socTemp.value_or(0.0), maxPoints);
    append(rxSeries_, s.network.rxRate, maxPoints);
    append(txSeries_, s.network.txRate, maxPoints);
    append(diskReadSeries_, s.disk.readRate, maxPoints);
    append(diskWriteSeries_, s.disk.writeRate, maxPoints);
    if (perCoreSeries_.size() != s.cpu.perCore.size()) perCoreSeries_.assign(s.cpu.perCore.size(), {});
    for (size_t i = 0; i < s.cpu.perCore.size(); ++i) append(perCoreSeries_[i], s.cpu.perCore[i], maxPoints);

    // An app that is gone for one tick loses its whole series.
    std::unordered_map<std::string, std::vector<double>> series, memory;
    series.reserve(s.groups.size());
    memory.reserve(s.groups.size());
    for (const auto& group : s.groups) {
        auto& points = series[group.id];
        auto& bytes = memory[group.id];
        if (points.empty()) {
            auto old = appSeries_.find(group.id);
            if (old != appSeries_.end()) points = std::move(old->second);
            auto oldBytes = appMemorySeries_.find(group.id);
            if (oldBytes != appMemorySeries_.end()) bytes = std::move(oldBytes->second);
        }
        append(points, group.cpu, maxAppPoints);
        append(bytes, static_cast<double>(group.memory), maxAppPoints);
    }
    appSeries_ = std::move(series);
    appMemorySeries_ = std::move(memory);
    appSeriesVersion_ += 1;

    updateBatterySession(previous, s);
    notify();
    if (followHistoryEvents_ && !demand_.empty()) readHistoryEvents();
}

void Monitor::updateBatterySession(const Snapshot& previous, const Snapshot& s) {
    if (!s.battery.present) return;
    const bool wasOnBattery = previous.battery.present && !previous.battery.onAC;
    if (s.battery.onAC) {
        if (wasOnBattery) batterySessionStart_.reset();
        return;
    }
    if (!wasOnBattery) {
        // Unplugged just now (an empty snapshot counts as on external power).
        batterySessionEnergy_.clear();
        batterySessionStart_ = s.date;
    } else if (!batterySessionStart_) {
        batterySessionStart_ = s.date;
    }
    const double dt = std::clamp(s.interval, 0.5, 30.0);
    for (const auto& group : s.groups) {
        if (!group.power || *group.power <= 0) continue;
        auto [it, inserted] = batterySessionEnergy_.try_emplace(group.id, AppEnergy{group.name, 0});
        it->second.joules += dt * *group.power;
    }
}

void Monitor::insertDemand(const std::string& surface) {
    demand_.insert(surface);
    sampler_->setLive(true);
}

void Monitor::removeDemand(const std::string& surface) {
    demand_.erase(surface);
    sampler_->setLive(!demand_.empty());
}

std::optional<AppGroup> Monitor::group(const std::string& id) const {
    for (const auto& group : snapshot_.groups)
        if (group.id == id) return group;
    return std::nullopt;
}

int Monitor::observe(std::function<void()> observer) {
    observers_.emplace_back(nextToken_, std::move(observer));
    return nextToken_++;
}

void Monitor::removeObserver(int token) {
    std::erase_if(observers_, [token](const auto& entry) { return entry.first == token; });
}

void Monitor::notify() {
    auto copy = observers_;
    for (auto& [token, observer] : copy) observer();
}

}  // namespace qm
