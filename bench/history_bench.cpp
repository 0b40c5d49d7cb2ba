// The history database under a month of use: write cost per minute, size per day, and
// the latency of the queries the timeline, energy and memory screens make.
// Targets: each query under 50 ms, a day of history under 3 MB.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "core/Clock.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"

using namespace qm;

namespace {

constexpr int64_t daysOfHistory = 30;
constexpr int64_t appsPerMinute = 13;

// A realistic minute: a handful of busy apps out of a larger population, so app keys
// repeat across minutes the way they do on a real machine.
void fillMinute(int64_t ts, SystemMinute& sys, std::vector<AppMinute>& apps) {
    int64_t n = ts / 60;
    sys = SystemMinute{};
    sys.ts = ts;
    sys.cpu = 5 + (n * 7919 % 900) / 10.0;
    sys.memUsed = 6e9 + (n % 97) * 1e7;
    sys.memTotal = 16e9;
    sys.pressure = 30 + n % 40;
    sys.pressureLevel = n % 50 == 0 ? 2 : 1;
    sys.swap = (n % 300) * 1e6;
    sys.gpu = (n % 3 == 0) ? std::optional<double>(12.5) : std::nullopt;
    sys.power = 8.5 + n % 10;
    sys.socTemp = 45 + n % 20;
    sys.netRx = 12000 + n % 5000;
    sys.netTx = 3000 + n % 700;
    sys.diskRead = 40000 + n % 9000;
    sys.diskWrite = 80000 + n % 11000;
    sys.battery = 50 + n % 50;
    sys.onBattery = (n / 240) % 3 == 0;
    sys.thermal = n % 500 == 0 ? 2 : 0;
    apps.clear();
    for (int64_t k = 0; k < appsPerMinute; ++k) {
        int64_t id = (n * 31 + k * 17) % 60;
        apps.push_back({ts, "app:/usr/share/applications/org.example.App" + std::to_string(id) + ".desktop",
                        "Example App " + std::to_string(id), (k * 13 + n) % 150 / 1.5, 2e8 + id * 3e7, 0.5 * k,
                        1000.0 * k});
    }
}

struct Fixture {
    std::string dir;
    std::unique_ptr<ManualClock> clock;
    std::unique_ptr<HistoryStore> store;
    int64_t end = 0;
    double writeSeconds = 0;
    double bytesPerDay = 0;
};

Fixture& month() {
    static Fixture f = [] {
        Fixture f;
        std::string pattern = (std::filesystem::temp_directory_path() / "quillmere-bench-XXXXXX").string();
        f.dir = ::mkdtemp(pattern.data());
        f.end = 1'700'000'040 + daysOfHistory * 86400;
        f.clock = std::make_unique<ManualClock>(static_cast<Date>(f.end));
        f.store = std::make_unique<HistoryStore>(f.dir + "/history.sqlite", nullptr, *f.clock);
        SystemMinute sys;
        std::vector<AppMinute> apps;
        auto started = std::chrono::steady_clock::now();
        for (int64_t ts = f.end - daysOfHistory * 86400; ts < f.end; ts += 60) {
            fillMinute(ts, sys, apps);
            f.store->write(sys, apps);
        }
        f.store->waitUntilIdle();
        f.writeSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        f.store->prune();  // folds the WAL into the file, as every six hours in use
        f.store->waitUntilIdle();
        f.bytesPerDay = static_cast<double>(f.store->fileSize()) / daysOfHistory;
        std::printf("filled %lld days: %.1f us per minute written, %.2f MB per day on disk\n",
                    static_cast<long long>(daysOfHistory), f.writeSeconds / (daysOfHistory * 1440.0) * 1e6,
                    f.bytesPerDay / (1024 * 1024));
        return f;
    }();
    return f;
}

void BM_WriteMinute(benchmark::State& state) {
    Fixture& f = month();
    SystemMinute sys;
    std::vector<AppMinute> apps;
    int64_t ts = f.end + 60;
    for (auto _ : state) {
        fillMinute(ts, sys, apps);
        f.store->write(sys, apps);
        f.store->waitUntilIdle();
        ts += 60;
    }
    state.counters["MB_per_day"] = f.bytesPerDay / (1024 * 1024);
}

void BM_SystemMinutes30Days(benchmark::State& state) {
    Fixture& f = month();
    // The timeline's 30-day range in 30-minute buckets, and the raw minutes.
    int bucket = static_cast<int>(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(f.store->systemMinutesSync(f.end - 30 * 86400, f.end, bucket));
}

void BM_Events(benchmark::State& state) {
    Fixture& f = month();
    static bool seeded = [&] {
        for (int i = 0; i < 2000; ++i) {
            TimelineEvent e;
            e.date = static_cast<Date>(f.end - i * 1200);
            e.kind = EventKind::highCPU;
            e.title = "Example App is using a lot of CPU";
            e.detail = "95% of a core for 3 min. This drains battery and heats your Mac.";
            e.appKey = "app:/usr/share/applications/org.example.App1.desktop";
            e.appName = "Example App 1";
            f.store->write(e);
        }
        f.store->waitUntilIdle();
        return true;
    }();
    (void)seeded;
    for (auto _ : state) benchmark::DoNotOptimize(f.store->eventsSync(f.end - 30 * 86400, f.end));
}

void BM_TopApps(benchmark::State& state) {
    Fixture& f = month();
    for (auto _ : state) benchmark::DoNotOptimize(f.store->topAppsSync(f.end - 86400, 1800));
}

void BM_AppTotalsDay(benchmark::State& state) {
    Fixture& f = month();
    bool onlyOnBattery = state.range(0) != 0;
    for (auto _ : state) benchmark::DoNotOptimize(f.store->appTotalsSync(f.end - 86400, f.end, onlyOnBattery, 10));
}

void BM_MemoryProfile30(benchmark::State& state) {
    Fixture& f = month();
    for (auto _ : state) benchmark::DoNotOptimize(f.store->memoryProfileSync(30));
}

}  // namespace

BENCHMARK(BM_WriteMinute)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SystemMinutes30Days)->Arg(1800)->Arg(60)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Events)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TopApps)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AppTotalsDay)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemoryProfile30)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    month();
    benchmark::RunSpecifiedBenchmarks();
    // QUILLMERE_BENCH_KEEP=1 keeps the database for a look with the sqlite3 shell.
    if (std::getenv("QUILLMERE_BENCH_KEEP") != nullptr) {
        std::printf("kept %s/history.sqlite\n", month().dir.c_str());
    } else {
        std::error_code ignored;
        std::filesystem::remove_all(month().dir, ignored);
    }
    return 0;
}
