// What one full process read costs on this machine, per process and per refresh, next
// to what procps' top spends on one refresh of the same process table.
//
//   process_bench --benchmark_counters_tabular=true
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "processes/DesktopEntry.h"
#include "processes/DesktopKeys.h"
#include "processes/ProcessReader.h"
#include "processes/linux/LinuxProcessSource.h"

extern char** environ;

namespace {

double processCPUSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

void ReadWithRestricted(benchmark::State& state) {
    qm::ProcessReader reader(
        std::make_unique<qm::LinuxProcessSource>(""),
        std::make_unique<qm::DesktopKeyResolver>(std::make_unique<qm::LinuxCgroupSource>(""),
                                                 qm::xdgDataDirectories(std::getenv("XDG_DATA_HOME"),
                                                                        std::getenv("XDG_DATA_DIRS"), "")));
    reader.read(true);  // identities and keys are once per process lifetime: not per tick
    double cpu = 0, processes = 0;
    for (auto _ : state) {
        double before = processCPUSeconds();
        auto result = reader.read(true);
        cpu += processCPUSeconds() - before;
        processes += static_cast<double>(result.processCount);
        benchmark::DoNotOptimize(result);
    }
    state.counters["processes"] = processes / static_cast<double>(state.iterations());
    state.counters["cpu_us_per_process"] = cpu * 1e6 / processes;
    state.counters["cpu_ms_per_refresh"] = cpu * 1e3 / static_cast<double>(state.iterations());
}
BENCHMARK(ReadWithRestricted)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// CPU time of `top -b -d 0.5 -n 20` (its own and its children's) divided by its 20 refreshes.
void TopRefresh(benchmark::State& state) {
    const char* argv[] = {"top", "-b", "-d", "0.5", "-n", "20", nullptr};
    double cpu = 0;
    for (auto _ : state) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        pid_t child = 0;
        int spawned = posix_spawnp(&child, "top", &actions, nullptr, const_cast<char**>(argv), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (spawned != 0) {
            state.SkipWithError("top (procps) is not installed");
            return;
        }
        int status = 0;
        rusage usage{};
        ::wait4(child, &status, 0, &usage);
        cpu += static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    }
    state.counters["cpu_ms_per_refresh"] = cpu * 1e3 / 20 / static_cast<double>(state.iterations());
}
BENCHMARK(TopRefresh)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
