// What GPU clients add to a process read: the same 500-process machine (a fixture tree
// in a temporary folder, 30 descriptors each) read without any GPU client, and with 20
// processes holding one; and what one full look through every process's descriptors
// costs (once per process lifetime, then about once a minute).
//
//   gpu_process_bench --benchmark_counters_tabular=true
#include <benchmark/benchmark.h>

#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/linux/DrmDescriptors.h"
#include "processes/ProcessReader.h"
#include "processes/linux/LinuxProcessSource.h"

namespace {

namespace fs = std::filesystem;

constexpr int processCount = 500;
constexpr int descriptorsEach = 30;

double processCPUSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

class ByName : public qm::KeyResolver {
public:
    qm::GroupKey computeKey(const qm::ProcessSample& s, const qm::SamplesByPID&, uint64_t) override {
        qm::GroupKey key;
        key.key = "proc:" + s.name;
        key.name = s.name;
        return key;
    }
};

// 500 copies of one fixture process; the first `clients` hold a GPU client.
fs::path makeMachine(int clients) {
    const fs::path source = fs::path(QM_BENCH_FIXTURES) / "processes/root/proc";
    fs::path root =
        fs::temp_directory_path() / ("qm-gpu-bench-" + std::to_string(::getpid()) + "-" + std::to_string(clients));
    fs::remove_all(root);
    fs::create_directories(root / "proc");
    fs::copy(source / "stat", root / "proc/stat");
    for (int i = 0; i < processCount; ++i) {
        const fs::path dir = root / "proc" / std::to_string(10000 + i);
        fs::copy(source / "3001", dir);
        fs::create_directories(dir / "fd");
        fs::create_directories(dir / "fdinfo");
        for (int fd = 0; fd < descriptorsEach; ++fd) {
            const bool gpu = i < clients && fd == 7;
            fs::create_symlink(gpu ? "/dev/dri/renderD128" : "/dev/null", dir / "fd" / std::to_string(fd));
            std::ofstream(dir / "fdinfo" / std::to_string(fd))
                << (gpu ? "pos:\t0\nflags:\t02100002\nmnt_id:\t24\ndrm-driver:\ti915\ndrm-pdev:\t0000:00:02.0\n"
                          "drm-client-id:\t" +
                              std::to_string(i) +
                              "\ndrm-engine-render:\t9288864723 ns\ndrm-engine-copy:\t0 ns\n"
                              "drm-engine-video:\t0 ns\ndrm-engine-video-enhance:\t0 ns\n"
                              "drm-total-system0:\t12 MiB\ndrm-resident-system0:\t12 MiB\n"
                        : "pos:\t0\nflags:\t0100002\nmnt_id:\t22\n");
        }
    }
    return root;
}

void ProcessRead(benchmark::State& state) {
    const fs::path root = makeMachine(static_cast<int>(state.range(0)));
    {
        qm::ProcessReader reader(std::make_unique<qm::LinuxProcessSource>(root.string()), std::make_unique<ByName>());
        reader.read(true);  // descriptors are looked through once per process lifetime: not per tick
        double cpu = 0;
        for (auto _ : state) {
            double before = processCPUSeconds();
            benchmark::DoNotOptimize(reader.read(true));
            cpu += processCPUSeconds() - before;
        }
        state.counters["cpu_ms_per_refresh"] = cpu * 1e3 / static_cast<double>(state.iterations());
    }
    fs::remove_all(root);
}
BENCHMARK(ProcessRead)->Arg(0)->Arg(20)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// One look through every process's descriptors (what the first read pays, and what
// the minute's rescans add up to, spread over the ticks of that minute).
void DescriptorLook(benchmark::State& state) {
    const fs::path root = makeMachine(20);
    for (auto _ : state) {
        qm::DrmDescriptorCache cache((root / "proc").string());
        for (int i = 0; i < processCount; ++i) benchmark::DoNotOptimize(cache.clients(10000 + i, 0));
    }
    fs::remove_all(root);
}
BENCHMARK(DescriptorLook)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
