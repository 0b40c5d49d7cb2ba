// The heartbeat: a repeating timer on a private serial queue that, every tick, asks
// each reader for its figures, assembles one Snapshot, runs the event detector, folds
// the snapshot into the current minute of history and hands it to its owner.
//
// It samples fast ("live") while someone is looking and relaxes to 5 s on mains or
// 10 s on battery otherwise. Every field is touched only on its queue.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "core/Clock.h"
#include "core/ClockTrust.h"
#include "core/Defaults.h"
#include "core/HistorySink.h"
#include "core/Platform.h"
#include "core/Queue.h"
#include "engine/MinuteAccumulator.h"

namespace qm {

class CPUReader;
class NetworkReader;
class DiskReader;

class Sampler {
public:
    struct Dependencies {
        Platform platform = Platform::current();
        const Clock* clock = &Clock::system();
        Defaults* defaults = nullptr;                // Defaults::shared() when null
        HistorySink* history = nullptr;              // no history writes when null
        std::unique_ptr<SnapshotDetector> detector;  // no events when null
        std::unique_ptr<SerialQueue> queue;          // a thread queue "app.quillmere.sampler" when null
    };

    explicit Sampler(Dependencies deps);
    ~Sampler();
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    // Called on the sampler queue at the end of every tick / when a tick produced events.
    std::function<void(const Snapshot&)> onSnapshot;
    std::function<void(const std::vector<TimelineEvent>&)> onEvents;

    // Arms the timer (on the queue) and asks the history store to prune old rows.
    //
    // Every tick reads the wall clock against the continuous one (ClockTrust): a tick
    // whose wall clock jumped still reaches onSnapshot and onEvents, but nothing of it
    // is stored and no prune counts from it, so no row is ever stamped from a clock
    // that was set wrong. A recorder restarted within a minute adds its samples to the
    // part of the minute the previous run stored.
    void start();
    // While true the user's refresh interval applies; turning it on runs one tick at once.
    void setLive(bool live);
    // Re-reads the refresh interval and re-arms the timer.
    void reschedule();
    // A fixed background period instead of 5 s on mains / 10 s on battery (the command
    // line's --interval). Takes effect at the next schedule.
    void setPeriodOverride(std::optional<double> seconds);
    // Saves the partial minute now (the caller waits): used when the program ends.
    void flushNow();

    // Set by the sensors screen while it is visible: asks for the full sensor list more often.
    static std::atomic<bool> fullSensors;

    // Read on the queue; for tests and diagnostics.
    double interval() const { return interval_; }
    bool live() const { return live_; }
    int64_t tick() const { return tick_; }
    int64_t minuteStart() const { return minuteStart_; }
    const MinuteAccumulator& accumulator() const { return acc_; }
    bool clockTrusted() const { return trust_.trusted(); }
    SerialQueue& queue() { return *queue_; }

    // One tick; runs on the queue (tests with a ManualQueue call it directly).
    void sample();

private:
    void schedule();
    void accumulate(const Snapshot& snapshot);
    void writeMinute();
    void pruneHistory();
    void releaseFreedMemory();
    SelfCost readSelfCost();

    std::unique_ptr<SerialQueue> queue_;
    Platform platform_;
    const Clock& clock_;
    Defaults& defaults_;
    HistorySink* history_;
    std::unique_ptr<SnapshotDetector> detector_;

    std::unique_ptr<RepeatingTimer> timer_;
    double interval_ = 5.0;
    std::optional<double> periodOverride_;
    bool live_ = false;
    int64_t tick_ = 0;

    std::unique_ptr<CPUReader> cpuReader_;
    std::unique_ptr<MemorySource> memoryReader_;
    std::unique_ptr<NetworkReader> networkReader_;
    std::unique_ptr<DiskReader> diskReader_;
    std::unique_ptr<ProcessListSource> processReader_;
    std::unique_ptr<SensorSource> sensorReader_;  // created on first use: opening sensors is costly
    std::unique_ptr<PowerSource> powerReader_;
    std::unique_ptr<GPUSource> gpuReader_;
    std::unique_ptr<SelfSource> selfReader_;

    std::optional<PowerReading> lastBattery_;
    ThermalStats lastThermal_;
    std::optional<double> lastGPU_;
    std::vector<GPUDevice> lastGPUs_;
    std::optional<ProcessReadResult> lastProcesses_;
    std::optional<Date> lastSample_;
    std::optional<std::pair<uint64_t, uint64_t>> selfPrev_;  // own CPU time, absolute time
    std::optional<Date> bootTime_;
    ClockTrust trust_;
    int64_t minuteStart_ = 0;
    MinuteAccumulator acc_;
    // What an earlier run stored of the minute this one started in, and the seconds
    // of the minute it covered.
    std::optional<StoredMinute> carried_;
    double carriedSeconds_ = 0;
};

}  // namespace qm
