// The texts and figures of the memory, sensors and network sections, drawn from one
// snapshot: the memory breakdown and swap, the temperature groups with their hottest
// reading, the fans, and the traffic and disk lines. Pure functions; nothing draws.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm::sections {

// One slice of the memory breakdown, in the order apps, wired, compressed, cached, free.
struct MemoryPart {
    std::string label;
    uint64_t bytes = 0;
    double share = 0;  // 0…1 of the installed memory
};
std::vector<MemoryPart> memoryParts(const MemoryStats& memory);
// "9.2 GB of 16 GB used"
std::string memoryUsedLine(const MemoryStats& memory);
// One line on how "used" relates to the system's own tool (the free command on Linux);
// absent on a Mac, whose Activity Monitor counts it the same way.
std::optional<std::string> memoryUsedNote();
// "Pressure 38% · Normal"
std::string pressureLine(const MemoryStats& memory);
// "1.2 GB of 4.0 GB swap used", "No swap in use", "No swap space configured"
std::string swapLine(const MemoryStats& memory);
// Whole gigabytes of installed memory, rounded to the nearest (16 for 15.6 GiB).
int64_t installedGB(uint64_t totalBytes);

// One group of temperature sensors, hottest first.
struct SensorGroupView {
    SensorReading::Group group = SensorReading::Group::other;
    std::string title;  // "CPU", "GPU", "Memory", "Storage", "Battery", "Other"
    double maximum = 0;
    std::vector<SensorReading> readings;
};
std::vector<SensorGroupView> sensorGroups(const ThermalStats& thermal);
std::string groupTitle(SensorReading::Group group);
// "Fan 1 · 2,150 rpm (1,200–5,800)"
std::string fanLine(const FanReading& fan);
std::string rpm(double value);

// "Received 1.2 GB, sent 310 MB since the system started 2d 5h ago."
std::string networkTotalsLine(const NetworkStats& network, double uptime);
// "412 GB free of 1,000 GB"
std::string diskSpaceLine(const DiskStats& disk);

// Whether the apps table shows the "Exact system figures" notice: while other users'
// processes are listed and the helper is not answering, their figures are estimated
// (on Linux their disk figures are unknown).
bool exactFiguresNoticeShown(const Snapshot& snapshot);

// The `limit` groups holding the most memory, most first.
std::vector<const AppGroup*> topByMemory(const Snapshot& snapshot, size_t limit);

// Whether a group's power figure is an estimate: always on Linux, which reports no
// energy per process (it is shared out by CPU time), and wherever a process's figures
// are estimated.
bool powerEstimated(const AppGroup& group);

// The timeline's moment panel: one bucket's figures ("CPU 37% · Memory 9.2 GB of
// 16 GB · Power 4.7 W · 47°") and one busy app ("Firefox · 37% · 1.2 GB").
std::string momentFigures(const SystemMinute& row);
std::string momentApp(const AppMinute& app);
// "Tue, Jan 7, 3:04 PM – Wed, Jan 8, 3:04 PM"
std::string rangeCaption(Date from, Date to);

// Whether per-app energy is estimated on this system (Linux shares the machine's
// power out by CPU time; a Mac measures it per process).
bool perAppEnergyEstimated();

namespace sectionText {
inline constexpr const char* estimatedPower =
    "Estimated: each app's share of the machine's power, by the CPU time it used.";
inline constexpr const char* noBattery = "No battery. This machine runs on external power.";
inline constexpr const char* onAdapterNoSession = "Plugged in. This card fills in while your Mac runs on battery.";
inline constexpr const char* topMemoryTitle = "Using the most memory";
inline constexpr const char* swapTitle = "Swap";
inline constexpr const char* pressureTitle = "Memory pressure";
inline constexpr const char* memoryTitle = "Memory";
inline constexpr const char* breakdownTitle = "What is in memory";
inline constexpr const char* sensorsTitle = "Sensors";
inline constexpr const char* noSensorsTitle = "No temperature sensors";
inline constexpr const char* noSensorsText =
    "This machine does not report any temperatures Quillmere can read, so there is nothing to show here.";
inline constexpr const char* fansTitle = "Fans";
inline constexpr const char* noFans = "No fans reported.";
inline constexpr const char* thermalTitle = "Thermal state";
inline constexpr const char* networkTitle = "Network & Disk";
inline constexpr const char* download = "Download";
inline constexpr const char* upload = "Upload";
inline constexpr const char* diskRead = "Disk reads";
inline constexpr const char* diskWrite = "Disk writes";
inline constexpr const char* startupDisk = "Startup disk";
}  // namespace sectionText

}  // namespace qm::sections
