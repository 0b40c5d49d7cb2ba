#include "engine/Sampler.h"

#include <algorithm>
#include <cmath>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "core/DefaultsRanges.h"
#include "engine/MinuteMerge.h"

#include "readers/CPUReader.h"
#include "readers/DiskReader.h"
#include "readers/NetworkReader.h"

namespace qm {

std::atomic<bool> Sampler::fullSensors{false};

namespace {
constexpr double kMainsPeriod = 5.0;
constexpr double kBatteryPeriod = 10.0;
constexpr double kDefaultLivePeriod = 2.0;
constexpr double kLiveLeeway = 0.1;
constexpr double kBackgroundLeeway = 1.5;    // lets the system coalesce wake-ups
constexpr int64_t kPruneEveryMinutes = 360;  // six hours of Unix time
}  // namespace

Sampler::Sampler(Dependencies deps)
    : queue_(deps.queue ? std::move(deps.queue) : makeThreadQueue("app.quillmere.sampler")),
      platform_(std::move(deps.platform)),
      clock_(*deps.clock),
      defaults_(deps.defaults ? *deps.defaults : Defaults::shared()),
      history_(deps.history),
      detector_(std::move(deps.detector)),
      trust_(clock_) {
    cpuReader_ = std::make_unique<CPUReader>(platform_.cpu(), platform_.coreTypes());
    memoryReader_ = platform_.memory();
    networkReader_ = std::make_unique<NetworkReader>(platform_.network(), clock_);
    diskReader_ = std::make_unique<DiskReader>(platform_.disk(), clock_);
    processReader_ = platform_.processes();
    powerReader_ = platform_.power();
    gpuReader_ = platform_.gpu();
    selfReader_ = platform_.self();
}

Sampler::~Sampler() {
    // The timer belongs to the queue's thread: cancel it there before the queue goes.
    queue_->sync([this] { timer_.reset(); });
}

void Sampler::start() {
    queue_->post([this] {
        if (history_) trust_.restore(history_->rememberedClock());
        schedule();
        if (trust_.check()) pruneHistory();
    });
}

void Sampler::pruneHistory() {
    if (history_) history_->prune(static_cast<int64_t>(std::floor(trust_.trustedNow())));
}

void Sampler::setLive(bool live) {
    queue_->post([this, live] {
        if (live == live_) return;
        live_ = live;
        schedule();
        if (live) sample();  // opening a window shows fresh figures at once
    });
}

void Sampler::reschedule() {
    queue_->post([this] { schedule(); });
}

void Sampler::setPeriodOverride(std::optional<double> seconds) {
    queue_->post([this, seconds] { periodOverride_ = seconds; });
}

void Sampler::flushNow() {
    queue_->sync([this] {
        if (acc_.count < 1) return;
        writeMinute();
        acc_ = MinuteAccumulator{};
    });
}

void Sampler::schedule() {
    double period = (!lastBattery_ || lastBattery_->battery.onAC) ? kMainsPeriod : kBatteryPeriod;
    if (periodOverride_) period = *periodOverride_;
    if (live_) {
        // Unset reads as 0 and anything under a second means the default; a value edited
        // into the file beyond the range is read as its end.
        const double chosen = defaults_.doubleValue("refresh.interval");
        period = chosen >= 1.0 ? clampToRange("refresh.interval", chosen) : kDefaultLivePeriod;
    }
    interval_ = period;
    timer_.reset();
    timer_ = queue_->repeating(interval_, live_ ? kLiveLeeway : kBackgroundLeeway, [this] { sample(); });
}

void Sampler::sample() {
    tick_ += 1;
    const Date now = clock_.now();

    Snapshot s;
    s.date = now;
    s.interval = lastSample_ ? now - *lastSample_ : interval_;
    lastSample_ = now;

    s.cpu = cpuReader_->read();
    s.memory = memoryReader_->read();
    s.network = networkReader_->read();
    s.disk = diskReader_->read();

    // GPU: every tick when live; in the background every 4th tick.
    if (!live_ && tick_ % 4 != 0 && lastGPU_) {
        // reuse
    } else {
        lastGPU_ = gpuReader_->read();
        lastGPUs_ = gpuReader_->devices();
    }
    s.gpu = lastGPU_;
    s.gpus = lastGPUs_;

    // Power: every tick in the background, every 3rd tick when live. A change of power
    // source re-arms the timer at once so the background period follows it.
    if (!lastBattery_ || !live_ || tick_ % 3 == 0) {
        const bool hadReading = lastBattery_.has_value();
        const bool wasOnAC = hadReading && lastBattery_->battery.onAC;
        auto reading = powerReader_->read();
        if (reading) {
            lastBattery_ = reading;
            if (hadReading && wasOnAC != reading->battery.onAC) schedule();
        }
    }
    s.battery = lastBattery_ ? lastBattery_->battery : BatteryStats{};
    s.systemPower = lastBattery_ ? lastBattery_->systemPower : std::nullopt;
    if (lastBattery_) s.systemPowerScope = lastBattery_->systemPowerScope;

    // Sensors: the light list most ticks; the full list often while the sensors screen is open.
    const bool full = fullSensors.load(std::memory_order_relaxed);
    const int64_t sensorPeriod = full ? 2 : (live_ ? 5 : 6);
    if (tick_ % sensorPeriod == 0 || lastThermal_.sensors.empty() || (full && lastThermal_.sensors.size() < 8)) {
        if (!sensorReader_) sensorReader_ = platform_.sensors();
        ThermalStats reading = sensorReader_->read(full);
        if (!full) reading.fans = lastThermal_.fans;  // light reads do not query the fans
        lastThermal_ = std::move(reading);
    }
    lastThermal_.state = platform_.thermalState();
    s.thermal = lastThermal_;

    // Processes: every tick when live; in the background every other tick, with other
    // users' processes every 6th.
    processReader_->setMachinePower(s.systemPower);
    if (live_) {
        lastProcesses_ = processReader_->read(true);
    } else if (tick_ % 2 == 1 && lastProcesses_) {
        // reuse
    } else {
        lastProcesses_ = processReader_->read(tick_ % 6 == 0);
    }
    if (lastProcesses_) {
        s.groups = lastProcesses_->groups;
        s.processCount = lastProcesses_->processCount;
        s.restrictedVisible = lastProcesses_->restrictedVisible;
        s.helperActive = lastProcesses_->helperActive;
    }

    if (!bootTime_) bootTime_ = platform_.bootTime();
    s.uptime = bootTime_ ? std::max(0.0, now - *bootTime_) : 0.0;

    s.selfCost = readSelfCost();

    // Nothing stamped from a clock that jumped is stored; the snapshot and its events
    // still reach the screens.
    const bool trusted = trust_.check();
    if (detector_) {
        auto events = detector_->process(s);
        if (history_ && trusted)
            for (const auto& event : events) history_->write(event);
        if (!events.empty() && onEvents) onEvents(events);
    }

    if (trusted) accumulate(s);

    if (onSnapshot) onSnapshot(s);
}

SelfCost Sampler::readSelfCost() {
    SelfCost cost;
    auto record = selfReader_->read();
    if (!record) return cost;  // selfPrev_ is kept
    const uint64_t cpuTime = record->cpuTime;
    const uint64_t absolute = selfReader_->absoluteTime();
    if (selfPrev_ && absolute > selfPrev_->second && cpuTime >= selfPrev_->first)
        cost.cpu =
            static_cast<double>(cpuTime - selfPrev_->first) / static_cast<double>(absolute - selfPrev_->second) * 100.0;
    selfPrev_ = {cpuTime, absolute};
    cost.memory = record->footprint;
    cost.diskWrittenSinceLaunch = record->bytesWritten;
    return cost;
}

void Sampler::accumulate(const Snapshot& s) {
    const auto seconds = static_cast<int64_t>(std::floor(s.date));
    const int64_t m = seconds - ((seconds % 60) + 60) % 60;
    if (minuteStart_ == 0) {
        minuteStart_ = m;
        if (history_) {
            // A restart within a minute: the previous run saved part of it.
            carried_ = history_->storedMinute(m);
            carriedSeconds_ = std::clamp(s.date - static_cast<double>(m), 1.0, 60.0);
        }
    } else if (m != minuteStart_) {
        if (acc_.count >= 1) {
            writeMinute();
            releaseFreedMemory();
            if ((minuteStart_ / 60) % kPruneEveryMinutes == 0) pruneHistory();
        }
        carried_.reset();
        minuteStart_ = m;
        acc_ = MinuteAccumulator{};
    }
    acc_.add(s);
}

void Sampler::releaseFreedMemory() {
#ifdef __GLIBC__
    // A burst of thousands of short-lived processes leaves their freed records in the
    // heap, which glibc keeps for reuse; once a minute the free pages go back to the
    // system so the recorder's footprint returns to what the machine needs now.
    malloc_trim(0);
#endif
}

void Sampler::writeMinute() {
    if (!history_) return;
    auto [minute, apps] = acc_.build(minuteStart_);
    StoredMinute row{minute, apps};
    double seconds = acc_.seconds;
    if (carried_ && carried_->minute.ts == minuteStart_) {
        row = mergeMinute(*carried_, carriedSeconds_, row, acc_.seconds);
        seconds += carriedSeconds_;
    }
    history_->write(row.minute, row.apps);
    // Samples that follow in the same minute (after a flush) add to what is stored now.
    carried_ = std::move(row);
    carriedSeconds_ = seconds;
    if (trust_.anchor()) history_->rememberClock(*trust_.anchor());
}

}  // namespace qm
