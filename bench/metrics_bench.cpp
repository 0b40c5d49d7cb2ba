// CPU time of the /metrics page at about 2,000 processes in 400 apps: making the frame
// from a snapshot (on the recorder's main loop, once per tick) and rendering it (on the
// exporter's thread, once per frame and format). Target: under 5 ms of CPU together.
//
//   metrics_bench --benchmark_counters_tabular=true
#include <benchmark/benchmark.h>

#include "metrics/Exposition.h"
#include "metrics/MetricsFrame.h"

namespace {

qm::Snapshot busyMachine(int processes, int apps) {
    qm::Snapshot s;
    s.date = 1'700'000'000;
    s.interval = 5;
    s.cpu.perCore.assign(16, 40);
    s.cpu.coreTypes.assign(16, qm::CPUStats::CoreType::performance);
    s.memory.total = 32ull << 30;
    s.memory.app = 10ull << 30;
    s.disk.totalSpace = 1ull << 40;
    s.thermal.socTemp = 60;
    for (int i = 0; i < 24; ++i) s.thermal.sensors.push_back({"Core " + std::to_string(i), 55.0 + i, {}});
    s.thermal.fans = {{0, 1800, 800, 5000}, {1, 1700, 800, 5000}};
    for (int a = 0; a < apps; ++a) {
        qm::AppGroup group;
        group.id = "proc:app-" + std::to_string(a);
        group.name = "app-" + std::to_string(a);
        group.cpu = (a * 7) % 53;
        group.memory = (static_cast<uint64_t>(a) * 7919 % 4096) << 20;
        group.power = a % 3 == 0 ? std::optional<double>(0.1 * a) : std::nullopt;
        for (int p = a; p < processes; p += apps) {
            qm::ProcessSample sample;
            sample.pid = p + 100;
            sample.name = group.name;
            sample.path = "/usr/bin/" + group.name;
            group.processes.push_back(sample);
        }
        s.groups.push_back(std::move(group));
    }
    s.processCount = processes;
    return s;
}

void frameAndPage(benchmark::State& state, qm::metrics::ExpositionFormat format) {
    const qm::Snapshot snapshot = busyMachine(2000, 400);
    qm::metrics::FrameBuilder builder("0.1.0");
    size_t bytes = 0;
    for (auto _ : state) {
        auto frame = builder.add(snapshot);
        std::string page = qm::metrics::renderExposition(*frame, format);
        bytes = page.size();
        benchmark::DoNotOptimize(page.data());
    }
    state.counters["page_bytes"] = static_cast<double>(bytes);
}

void BM_MetricsPrometheusText(benchmark::State& state) {
    frameAndPage(state, qm::metrics::ExpositionFormat::prometheusText);
}
void BM_MetricsOpenMetrics(benchmark::State& state) { frameAndPage(state, qm::metrics::ExpositionFormat::openMetrics); }

BENCHMARK(BM_MetricsPrometheusText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MetricsOpenMetrics)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
