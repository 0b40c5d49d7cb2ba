#include "fmt/SnapshotJsonLine.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include "core/JsonText.h"
#include "core/SnapshotJson.h"
#include "fmt/PlatformWording.h"

namespace qm {
namespace {

using nlohmann::json;
using CoreType = CPUStats::CoreType;

// What `sample --json` printed when it went through a tree: the reference the
// streamed line must match byte for byte.
std::string throughTree(const Snapshot& snapshot) {
    json document = snapshot;
    rewordForThisPlatform(document);
    return jsonText(document);
}

std::string streamed(const Snapshot& snapshot) {
    std::string out;
    appendSnapshotJson(out, snapshot);
    return out;
}

ProcessSample process(int32_t pid, std::string name, std::string path) {
    ProcessSample p;
    p.pid = pid;
    p.ppid = 1;
    p.uid = 1000;
    p.name = std::move(name);
    p.path = std::move(path);
    p.cpu = 12.5;
    p.memory = 300 << 20;
    return p;
}

// A tick with everything that has tripped encoders: names that are not UTF-8 or hold
// control characters and quotes, absent and present optional figures, values JSON
// cannot hold, the extremes of every integer type, prose that is reworded on Linux.
Snapshot hostileSnapshot() {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    Snapshot s;
    s.date = 1'700'000'000.25;
    s.interval = 5;
    s.cpu.total = 100;
    s.cpu.user = 1.0 / 3;
    s.cpu.system = nan;
    s.cpu.perCore = {0, 99.5, -0.0, 1e-7};
    s.cpu.coreTypes = {CoreType::performance, CoreType::efficiency, CoreType::unknown};
    s.cpu.load = {0.5, inf, 2};
    s.memory.total = std::numeric_limits<uint64_t>::max();
    s.memory.app = 1;
    s.memory.pressure = 42.125;
    s.memory.pressureLevel = PressureLevel::critical;
    s.gpu = 3.0;
    s.gpus = {GPUDevice{"Intel GPU", "i915", 3.0, std::nullopt, std::nullopt, std::nullopt, std::nullopt},
              GPUDevice{"NVIDIA \"A2\"", "nvidia", nan, 1, std::numeric_limits<uint64_t>::max(), 61.0, inf}};
    s.systemPowerScope = PowerScope::package;
    s.network = {1e16, 0.1, 5, 6};
    s.disk = {2.5, -inf, 7, 8};
    s.battery.present = true;
    s.battery.onAC = false;
    s.battery.minutesRemaining = -1;
    s.battery.cycleCount = std::numeric_limits<int64_t>::max();
    s.battery.temperature = nan;
    s.thermal.state = ThermalState::critical;
    s.thermal.hasSensors = false;
    s.thermal.socMax = 105;
    s.thermal.sensors = {{"Package id 0", 61.5, SensorReading::Group::cpu},
                         {"nvme\xff\"\\", 40, SensorReading::Group::storage}};
    s.thermal.fans = {{0, 1200, std::nullopt, 5000.0}, {1, nan, 0.0, std::nullopt}};

    AppGroup app;
    app.id = "app:/usr/share/applications/Mac tool.desktop";
    app.name = "Mac \"tool\"";
    app.kind = ProcessKind::app;
    app.bundlePath = "/opt/Mac tool/Spotlight";
    app.bundleID = "org.example.macOS-helper";
    app.cpu = 25;
    app.memory = 600 << 20;
    app.power = inf;
    app.processes = {process(-1, "x\xff", "/bin/x\xc3"),
                     process(std::numeric_limits<int32_t>::max(), std::string("tab\tnul\0ctl\x01\x7f", 12),
                             "/usr/bin/caf\xc3\xa9 \xe2\x9c\x93")};
    app.processes[1].uid = std::numeric_limits<uint32_t>::max();
    app.processes[1].power = 0.75;
    app.processes[1].approximate = true;
    app.processes[1].isRestricted = true;
    app.processes[1].gpu = 12.5;
    app.processes[1].gpuMemory = 0;
    app.gpu = 12.5;

    AppGroup empty;
    empty.id = "proc:";
    empty.kind = ProcessKind::system;
    s.groups = {app, empty};
    s.processCount = 3;
    s.restrictedVisible = true;
    s.selfCost = {0.25, 1 << 20, 0};
    s.uptime = 86400.5;
    return s;
}

TEST(SnapshotJsonLineTest, SameBytesAsTheTreeForPlainAndHostileTicks) {
    EXPECT_EQ(streamed(Snapshot{}), throughTree(Snapshot{}));
    EXPECT_EQ(streamed(hostileSnapshot()), throughTree(hostileSnapshot()));

    // Appending leaves what is already in the text alone and adds no newline.
    std::string out = "prefix ";
    appendSnapshotJson(out, Snapshot{});
    EXPECT_EQ(out, "prefix " + throughTree(Snapshot{}));
}

TEST(SnapshotJsonLineTest, ReadersSeeNullsEscapesAndReplacedBytes) {
    const std::string line = streamed(hostileSnapshot());
    ASSERT_EQ(line.find('\n'), std::string::npos);  // one snapshot per line
    const json j = json::parse(line);

    // Absent figures and values JSON cannot hold are null, never left out.
    EXPECT_TRUE(j.at("systemPower").is_null());
    EXPECT_TRUE(j.at("cpu").at("system").is_null());
    EXPECT_TRUE(j.at("cpu").at("load").at(1).is_null());
    EXPECT_TRUE(j.at("disk").at("writeRate").is_null());
    EXPECT_TRUE(j.at("battery").at("temperature").is_null());
    EXPECT_TRUE(j.at("battery").at("healthPercent").is_null());
    EXPECT_TRUE(j.at("thermal").at("fans").at(0).at("min").is_null());
    EXPECT_EQ(j.at("thermal").at("fans").at(1).at("min"), 0.0);
    EXPECT_TRUE(j.at("groups").at(0).at("power").is_null());
    EXPECT_TRUE(j.at("groups").at(1).at("bundlePath").is_null());

    // Whole numbers keep every digit; enumerations are their raw strings.
    EXPECT_EQ(j.at("memory").at("total").get<uint64_t>(), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(j.at("battery").at("cycleCount").get<int64_t>(), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(j.at("battery").at("minutesRemaining"), -1);
    EXPECT_EQ(j.at("thermal").at("state"), 3);
    EXPECT_EQ(j.at("systemPowerScope"), "package");
    EXPECT_EQ(j.at("memory").at("pressureLevel"), "critical");
    EXPECT_EQ(j.at("cpu").at("coreTypes"), json({"performance", "efficiency", "unknown"}));
    EXPECT_EQ(j.at("date").get<double>(), 1'700'000'000.25);

    // Names are data: escaped, broken bytes replaced, never reworded.
    const json& processes = j.at("groups").at(0).at("processes");
    EXPECT_EQ(processes.at(0).at("name"), "x\xef\xbf\xbd");
    EXPECT_EQ(processes.at(0).at("pid"), -1);
    EXPECT_EQ(processes.at(1).at("name"), std::string("tab\tnul\0ctl\x01\x7f", 12));
    EXPECT_EQ(processes.at(1).at("path"), "/usr/bin/caf\xc3\xa9 \xe2\x9c\x93");
    EXPECT_EQ(processes.at(1).at("uid").get<uint32_t>(), std::numeric_limits<uint32_t>::max());
    EXPECT_EQ(j.at("groups").at(0).at("name"), "Mac \"tool\"");
    EXPECT_EQ(j.at("thermal").at("sensors").at(1).at("name"), "nvme\xef\xbf\xbd\"\\");
    // Paths and identifiers are data: never reworded, whatever words they contain.
    EXPECT_EQ(j.at("groups").at(0).at("bundlePath"), "/opt/Mac tool/Spotlight");
    EXPECT_EQ(j.at("groups").at(0).at("bundleID"), "org.example.macOS-helper");

    // Every record keeps all its fields; the GPU ones only where there is a figure.
    EXPECT_EQ(j.size(), 18u);
    EXPECT_EQ(processes.at(0).size(), 13u);
    EXPECT_EQ(processes.at(1).size(), 15u);
    EXPECT_EQ(j.at("groups").at(0).size(), 12u);
    EXPECT_EQ(j.at("gpus").at(1).size(), 7u);
    EXPECT_TRUE(j.at("gpus").at(1).at("busy").is_null()) << "not a number is no figure";
    EXPECT_EQ(j.at("battery").size(), 10u);
    EXPECT_EQ(j.at("thermal").size(), 9u);
}

}  // namespace
}  // namespace qm
