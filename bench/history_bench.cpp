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

// What app keys look like: bundle paths on a Mac, desktop files on Linux, and bare
// process names for everything that is not an app. Their lengths, not their names,
// set the size of the app table and of its key index (which holds every key again).
const std::vector<std::string>& appKeys() {
    static const std::vector<std::string> keys = {
        "app:/Applications/Safari.app",
        "app:/Applications/Google Chrome.app",
        "app:/Applications/Slack.app",
        "app:/Applications/Visual Studio Code.app",
        "app:/System/Applications/Mail.app",
        "app:/Applications/Spotify.app",
        "app:/System/Applications/Music.app",
        "app:/Applications/zoom.us.app",
        "app:/Applications/Microsoft Teams.app",
        "app:/Applications/Xcode.app",
        "app:/System/Library/CoreServices/Finder.app",
        "app:/Applications/Firefox.app",
        "app:/Applications/Docker.app",
        "app:/Applications/iTerm.app",
        "app:/System/Applications/Messages.app",
        "app:/usr/share/applications/firefox-esr.desktop",
        "app:/usr/share/applications/org.gnome.Nautilus.desktop",
        "app:/usr/share/applications/code.desktop",
        "app:/usr/share/applications/thunderbird.desktop",
        "app:/var/lib/flatpak/exports/share/applications/com.spotify.Client.desktop",
        "app:/usr/share/applications/org.gnome.Terminal.desktop",
        "app:/usr/share/applications/libreoffice-writer.desktop",
        "app:/usr/share/applications/slack.desktop",
        "app:/usr/share/applications/google-chrome.desktop",
        "app:/usr/share/applications/org.kde.dolphin.desktop",
        "proc:WindowServer",
        "proc:kernel_task",
        "proc:mds_stores",
        "proc:mdworker_shared",
        "proc:launchd",
        "proc:coreaudiod",
        "proc:bluetoothd",
        "proc:backupd",
        "proc:photoanalysisd",
        "proc:cloudd",
        "proc:Xorg",
        "proc:gnome-shell",
        "proc:pipewire",
        "proc:systemd",
        "proc:tracker-miner-fs-3",
        "proc:dockerd",
        "proc:containerd",
        "proc:node",
        "proc:python3",
        "proc:java",
        "proc:postgres",
        "proc:clangd",
        "proc:cc1plus",
        "proc:rustc",
        "proc:ssh",
        "proc:bash",
        "proc:zsh",
        "proc:git",
        "proc:make",
        "proc:ninja",
        "proc:ld",
        "proc:sqlite3",
        "proc:vim",
        "proc:tmux",
        "proc:top"};
    return keys;
}

std::string displayName(const std::string& key) {
    std::string name = key.substr(key.find_last_of(":/") + 1);
    return name.substr(0, name.find_last_of('.'));
}

double averageKeyLength() {
    double total = 0;
    for (const auto& key : appKeys()) total += static_cast<double>(key.size());
    return total / static_cast<double>(appKeys().size());
}

// A realistic minute: a handful of busy apps out of a larger population, so app keys
// repeat across minutes the way they do on a real machine; averaged figures have
// fractions, as the minute accumulator's do.
void fillMinute(int64_t ts, SystemMinute& sys, std::vector<AppMinute>& apps) {
    int64_t n = ts / 60;
    sys = SystemMinute{};
    sys.ts = ts;
    sys.cpu = 5 + (n * 7919 % 900) / 10.0;
    sys.memUsed = 6e9 + (n % 97) * 1e7 + 0.4;
    sys.memTotal = 16e9;
    sys.pressure = 30 + n % 40 + 0.25;
    sys.pressureLevel = n % 50 == 0 ? 2 : 1;
    sys.swap = (n % 300) * 1e6;
    sys.gpu = (n % 3 == 0) ? std::optional<double>(12.5) : std::nullopt;
    sys.power = 8.5 + n % 10 + 0.33;
    sys.socTemp = 45 + n % 20 + 0.7;
    sys.netRx = 12000 + n % 5000 + 0.6;
    sys.netTx = 3000 + n % 700 + 0.2;
    sys.diskRead = 40000 + n % 9000 + 0.5;
    sys.diskWrite = 80000 + n % 11000 + 0.1;
    sys.battery = 50 + n % 50;
    sys.onBattery = (n / 240) % 3 == 0;
    sys.thermal = n % 500 == 0 ? 2 : 0;
    apps.clear();
    const auto& keys = appKeys();
    for (int64_t k = 0; k < appsPerMinute; ++k) {
        const std::string& key = keys[static_cast<size_t>((n * 31 + k * 17) % static_cast<int64_t>(keys.size()))];
        apps.push_back({ts, key, displayName(key), (k * 13 + n) % 150 / 1.5 + 0.01, 2e8 + k * 3e7 + (n % 7) * 1e5 + 0.3,
                        0.5 * k + 0.01, k % 4 == 0 ? 0.0 : 1000.0 * k + 0.4});
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
        f.store->prune(f.end);  // folds the WAL into the file, as every six hours in use
        f.store->waitUntilIdle();
        f.bytesPerDay = static_cast<double>(f.store->fileSize()) / daysOfHistory;
        std::printf(
            "filled %lld days (%lld app rows a minute, app keys %.0f characters on average): "
            "%.1f us per minute written, %.2f MB (MiB) per day on disk\n",
            static_cast<long long>(daysOfHistory), static_cast<long long>(appsPerMinute), averageKeyLength(),
            f.writeSeconds / (daysOfHistory * 1440.0) * 1e6, f.bytesPerDay / (1024 * 1024));
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
    // The timeline's 30-day range in its two-hour buckets, and the raw minutes.
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
BENCHMARK(BM_SystemMinutes30Days)->Arg(7200)->Arg(60)->Unit(benchmark::kMillisecond);
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
