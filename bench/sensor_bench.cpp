// The sensor read on a 40-sensor hwmon tree: the light list (what most ticks cost,
// thermal state included) against the full list with fans (the sensors screen).
// Target: the light read under 0.2 ms per tick.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include "readers/SensorReader.h"
#include "readers/linux/SensorHwmon.h"

namespace {

namespace fs = std::filesystem;

void put(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text << '\n';
}

// A workstation: a 24-input coretemp, an amdgpu, two NVMe drives, a Super I/O chip
// with fans, memory sensors and an ACPI zone: 40 temperatures, 6 fans.
struct BenchTree {
    fs::path root;
    BenchTree() {
        std::string pattern = (fs::temp_directory_path() / "qm-sensor-bench-XXXXXX").string();
        root = ::mkdtemp(pattern.data());
        auto hwmon = [&](int n) { return root / "sys/class/hwmon" / ("hwmon" + std::to_string(n)); };
        put(hwmon(0) / "name", "coretemp");
        for (int i = 1; i <= 24; ++i) {
            auto base = hwmon(0) / ("temp" + std::to_string(i));
            put(base.string() + "_input", std::to_string(45000 + i * 250));
            put(base.string() + "_label", i == 1 ? "Package id 0" : "Core " + std::to_string(i - 2));
            put(base.string() + "_max", "100000");
            put(base.string() + "_crit", "100000");
        }
        put(hwmon(1) / "name", "amdgpu");
        for (int i = 1; i <= 3; ++i) put(hwmon(1) / ("temp" + std::to_string(i) + "_input"), "50000");
        for (int d = 0; d < 2; ++d) {
            put(hwmon(2 + d) / "name", "nvme");
            for (int i = 1; i <= 3; ++i) put(hwmon(2 + d) / ("temp" + std::to_string(i) + "_input"), "41850");
        }
        put(hwmon(4) / "name", "nct6798");
        for (int i = 1; i <= 4; ++i) put(hwmon(4) / ("temp" + std::to_string(i) + "_input"), "36000");
        for (int i = 1; i <= 6; ++i) put(hwmon(4) / ("fan" + std::to_string(i) + "_input"), "900");
        put(hwmon(5) / "name", "spd5118");
        put(hwmon(5) / "temp1_input", "40000");
        put(hwmon(6) / "name", "spd5118");
        put(hwmon(6) / "temp1_input", "40500");
        put(hwmon(7) / "name", "acpitz");
        put(hwmon(7) / "temp1_input", "27800");
        for (int c = 0; c < 2; ++c) {
            auto cpu = root / "sys/devices/system/cpu" / ("cpu" + std::to_string(c));
            put(cpu / "thermal_throttle/package_throttle_count", "12");
            put(cpu / "topology/physical_package_id", "0");
        }
    }
    ~BenchTree() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
};

void BM_SensorLightRead(benchmark::State& state) {
    BenchTree tree;
    qm::SensorReader reader(std::make_unique<qm::HwmonSensorBackend>(tree.root.string()));
    for (auto _ : state) benchmark::DoNotOptimize(reader.read(false));
}
BENCHMARK(BM_SensorLightRead)->Unit(benchmark::kMicrosecond);

void BM_SensorFullRead(benchmark::State& state) {
    BenchTree tree;
    qm::SensorReader reader(std::make_unique<qm::HwmonSensorBackend>(tree.root.string()));
    if (reader.read(true).sensors.size() != 40) state.SkipWithError("the tree should give 40 readings");
    for (auto _ : state) benchmark::DoNotOptimize(reader.read(true));
}
BENCHMARK(BM_SensorFullRead)->Unit(benchmark::kMicrosecond);

void BM_SensorDiscovery(benchmark::State& state) {
    BenchTree tree;
    for (auto _ : state) benchmark::DoNotOptimize(qm::HwmonSensorBackend(tree.root.string()));
}
BENCHMARK(BM_SensorDiscovery)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
