// A Platform whose sources answer from one shared, test-controlled state and count
// how they were called, plus a history sink and detector that record what they get.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/HistorySink.h"
#include "core/Platform.h"

namespace qm::testing {

struct FakeMachine {
    // What the sources answer.
    std::optional<double> gpu = 40.0;
    std::optional<PowerReading> power = PowerReading{BatteryStats{}, 12.0};
    ThermalStats lightSensors;  // returned by light reads
    ThermalStats fullSensors;   // returned by full reads
    ProcessReadResult processes;
    std::optional<SelfRecord> self;
    uint64_t absoluteTime = 0;
    std::optional<Date> bootTime;
    ThermalState thermalState = ThermalState::nominal;

    // How the sources were called.
    int gpuReads = 0;
    int powerReads = 0;
    std::vector<bool> sensorReads;   // the `full` argument of each read
    std::vector<bool> processReads;  // the `includeRestricted` argument of each read
    int sensorSourcesMade = 0;
};

inline Platform fakePlatform(const std::shared_ptr<FakeMachine>& m) {
    struct GPU : GPUSource {
        std::shared_ptr<FakeMachine> m;
        std::optional<double> read() override { return ++m->gpuReads, m->gpu; }
    };
    struct Power : PowerSource {
        std::shared_ptr<FakeMachine> m;
        std::optional<PowerReading> read() override { return ++m->powerReads, m->power; }
    };
    struct Sensors : SensorSource {
        std::shared_ptr<FakeMachine> m;
        ThermalStats read(bool full) override {
            m->sensorReads.push_back(full);
            return full ? m->fullSensors : m->lightSensors;
        }
    };
    struct Processes : ProcessListSource {
        std::shared_ptr<FakeMachine> m;
        ProcessReadResult read(bool includeRestricted) override {
            m->processReads.push_back(includeRestricted);
            return m->processes;
        }
    };
    struct Self : SelfSource {
        std::shared_ptr<FakeMachine> m;
        std::optional<SelfRecord> read() override { return m->self; }
        uint64_t absoluteTime() override { return m->absoluteTime; }
    };

    Platform p = Platform::empty();
    p.gpu = [m] {
        auto s = std::make_unique<GPU>();
        s->m = m;
        return s;
    };
    p.power = [m] {
        auto s = std::make_unique<Power>();
        s->m = m;
        return s;
    };
    p.sensors = [m] {
        ++m->sensorSourcesMade;
        auto s = std::make_unique<Sensors>();
        s->m = m;
        return s;
    };
    p.processes = [m] {
        auto s = std::make_unique<Processes>();
        s->m = m;
        return s;
    };
    p.self = [m] {
        auto s = std::make_unique<Self>();
        s->m = m;
        return s;
    };
    p.bootTime = [m] { return m->bootTime; };
    p.thermalState = [m] { return m->thermalState; };
    return p;
}

class RecordingHistory : public HistorySink {
public:
    struct MinuteWrite {
        SystemMinute minute;
        std::vector<AppMinute> apps;
    };
    void write(const SystemMinute& minute, const std::vector<AppMinute>& apps) override {
        minutes.push_back({minute, apps});
    }
    void write(const TimelineEvent& event) override { events.push_back(event); }
    void prune(int64_t now) override { pruneTimes.push_back(now); }

    std::vector<MinuteWrite> minutes;
    std::vector<TimelineEvent> events;
    std::vector<int64_t> pruneTimes;
};

// Emits the events queued in `next` on the following tick.
class ScriptedDetector : public SnapshotDetector {
public:
    explicit ScriptedDetector(std::shared_ptr<std::vector<TimelineEvent>> next) : next_(std::move(next)) {}
    std::vector<TimelineEvent> process(const Snapshot&) override { return std::exchange(*next_, {}); }

private:
    std::shared_ptr<std::vector<TimelineEvent>> next_;
};

}  // namespace qm::testing
