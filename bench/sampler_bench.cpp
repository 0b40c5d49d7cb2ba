// CPU time of one sampler tick on this machine, with the real sources.
//
// The background schedule alternates: odd ticks reuse the process list (only the
// system readers run), even ticks read every process. Each is timed on its own with
// the process CPU clock, so the figure is what the tick costs the machine, not how
// long it waited. Target: under 0.3 ms for a tick of the system readers.
#include <benchmark/benchmark.h>
#include <time.h>

#include "core/Defaults.h"
#include "engine/Sampler.h"
#include "processes/Sources.h"
#include "readers/CPUReader.h"
#include "readers/DiskReader.h"
#include "readers/NetworkReader.h"
#include "readers/Sources.h"

namespace {

double processCPUSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// A background sampler driven by hand: no timer thread, no history.
struct BackgroundSampler {
    qm::MemoryDefaults defaults;
    qm::Sampler sampler{[this] {
        qm::Sampler::Dependencies deps;
        deps.defaults = &defaults;
        deps.queue = std::make_unique<qm::ManualQueue>();
        return deps;
    }()};

    BackgroundSampler() {
        // Warm up: the first ticks open the sensors and fill the process caches.
        for (int i = 0; i < 6; ++i) sampler.sample();
    }
    bool nextTickReusesProcesses() const { return (sampler.tick() + 1) % 2 == 1; }
};

// Times only the ticks for which `wanted` holds; the others run untimed in between.
template <typename Wanted>
void timeTicks(benchmark::State& state, Wanted wanted) {
    BackgroundSampler s;
    int64_t processCount = 0;
    for (auto _ : state) {
        while (!wanted(s)) s.sampler.sample();
        const double start = processCPUSeconds();
        s.sampler.sample();
        state.SetIterationTime(processCPUSeconds() - start);
    }
    s.sampler.onSnapshot = [&](const qm::Snapshot& snapshot) { processCount = snapshot.processCount; };
    s.sampler.sample();
    state.counters["processes"] = static_cast<double>(processCount);
}

void BM_TickProcessesReused(benchmark::State& state) {
    timeTicks(state, [](const BackgroundSampler& s) { return s.nextTickReusesProcesses(); });
}
BENCHMARK(BM_TickProcessesReused)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_TickFullProcessRead(benchmark::State& state) {
    timeTicks(state, [](const BackgroundSampler& s) { return !s.nextTickReusesProcesses(); });
}
BENCHMARK(BM_TickFullProcessRead)->UseManualTime()->Unit(benchmark::kMicrosecond);

// Every tick copies the held process list into its snapshot; this is that copy
// (and its release) alone.
void BM_SnapshotCopy(benchmark::State& state) {
    BackgroundSampler s;
    qm::Snapshot taken;
    s.sampler.onSnapshot = [&](const qm::Snapshot& snapshot) { taken = snapshot; };
    s.sampler.sample();
    for (auto _ : state) {
        const double start = processCPUSeconds();
        {
            qm::Snapshot copy = taken;
            benchmark::DoNotOptimize(copy);
        }
        state.SetIterationTime(processCPUSeconds() - start);
    }
    state.counters["groups"] = static_cast<double>(taken.groups.size());
}
BENCHMARK(BM_SnapshotCopy)->UseManualTime()->Unit(benchmark::kMicrosecond);

// The system readers one by one, to see where a tick's time goes.
template <typename Read>
void timeReads(benchmark::State& state, Read read) {
    for (auto _ : state) {
        const double start = processCPUSeconds();
        read();
        state.SetIterationTime(processCPUSeconds() - start);
    }
}

void BM_CPUReader(benchmark::State& state) {
    qm::CPUReader reader(qm::makeCPUSource(), {});
    timeReads(state, [&] { benchmark::DoNotOptimize(reader.read()); });
}
BENCHMARK(BM_CPUReader)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_MemorySource(benchmark::State& state) {
    auto source = qm::makeMemorySource();
    timeReads(state, [&] { benchmark::DoNotOptimize(source->read()); });
}
BENCHMARK(BM_MemorySource)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_NetworkReader(benchmark::State& state) {
    qm::NetworkReader reader(qm::makeNetworkSource(), qm::Clock::system());
    timeReads(state, [&] { benchmark::DoNotOptimize(reader.read()); });
}
BENCHMARK(BM_NetworkReader)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_DiskCounters(benchmark::State& state) {
    auto source = qm::makeDiskSource();
    timeReads(state, [&] { benchmark::DoNotOptimize(source->counters()); });
}
BENCHMARK(BM_DiskCounters)->UseManualTime()->Unit(benchmark::kMicrosecond);

// All the system readers of a tick, warm (back to back) and cold (each time after
// a full process read has been through the kernel's and the CPU's caches).
void systemReaders(benchmark::State& state, bool afterProcessRead) {
    qm::CPUReader cpu(qm::makeCPUSource(), {});
    auto memory = qm::makeMemorySource();
    qm::NetworkReader network(qm::makeNetworkSource(), qm::Clock::system());
    qm::DiskReader disk(qm::makeDiskSource(), qm::Clock::system());
    auto power = qm::makePowerSource();
    auto self = qm::makeSelfSource();
    auto processes = qm::makeProcessListSource();
    for (auto _ : state) {
        if (afterProcessRead) benchmark::DoNotOptimize(processes->read(false));
        const double start = processCPUSeconds();
        benchmark::DoNotOptimize(cpu.read());
        benchmark::DoNotOptimize(memory->read());
        benchmark::DoNotOptimize(network.read());
        benchmark::DoNotOptimize(disk.read());
        benchmark::DoNotOptimize(power->read());
        benchmark::DoNotOptimize(qm::readThermalState());
        benchmark::DoNotOptimize(self->read());
        state.SetIterationTime(processCPUSeconds() - start);
    }
}
void BM_SystemReadersWarm(benchmark::State& state) { systemReaders(state, false); }
BENCHMARK(BM_SystemReadersWarm)->UseManualTime()->Unit(benchmark::kMicrosecond);
void BM_SystemReadersCold(benchmark::State& state) { systemReaders(state, true); }
BENCHMARK(BM_SystemReadersCold)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_PowerSource(benchmark::State& state) {
    auto source = qm::makePowerSource();
    timeReads(state, [&] { benchmark::DoNotOptimize(source->read()); });
}
BENCHMARK(BM_PowerSource)->UseManualTime()->Unit(benchmark::kMicrosecond);

// On a machine without temperature sensors the list stays empty, and an empty list
// is asked for again every tick.
void BM_SensorsLight(benchmark::State& state) {
    auto source = qm::makeSensorSource();
    timeReads(state, [&] { benchmark::DoNotOptimize(source->read(false)); });
    state.counters["sensors"] = static_cast<double>(source->read(false).sensors.size());
}
BENCHMARK(BM_SensorsLight)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_ThermalState(benchmark::State& state) {
    timeReads(state, [] { benchmark::DoNotOptimize(qm::readThermalState()); });
}
BENCHMARK(BM_ThermalState)->UseManualTime()->Unit(benchmark::kMicrosecond);

void BM_SelfSource(benchmark::State& state) {
    auto source = qm::makeSelfSource();
    timeReads(state, [&] {
        benchmark::DoNotOptimize(source->read());
        benchmark::DoNotOptimize(source->absoluteTime());
    });
}
BENCHMARK(BM_SelfSource)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
