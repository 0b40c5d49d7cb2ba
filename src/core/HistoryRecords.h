// The rows of the minute history: one minute of the system, one minute of one app,
// and per-app totals over a range. `ts` is whole Unix seconds at the minute's start.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qm {

struct SystemMinute {
    int64_t ts = 0;
    double cpu = 0;
    double memUsed = 0;
    double memTotal = 0;
    double pressure = 0;
    int64_t pressureLevel = 1;
    double swap = 0;
    std::optional<double> gpu;
    std::optional<double> power;
    std::optional<double> socTemp;
    double netRx = 0;
    double netTx = 0;
    double diskRead = 0;
    double diskWrite = 0;
    std::optional<double> battery;
    bool onBattery = false;
    int64_t thermal = 0;
    bool operator==(const SystemMinute&) const = default;
};

struct AppMinute {
    int64_t ts = 0;
    std::string key;
    std::string name;
    double cpu = 0;
    double memory = 0;
    double energy = 0;
    double diskWrite = 0;
    bool operator==(const AppMinute&) const = default;
};

struct AppTotal {
    std::string key;
    std::string name;
    double cpuSeconds = 0;
    double energy = 0;
    double peakMemory = 0;
    double diskWritten = 0;
    bool operator==(const AppTotal&) const = default;
};

// What one app has drawn since the computer was last unplugged (the Monitor keeps it;
// the energy models rank it).
struct AppEnergy {
    std::string name;
    double joules = 0;
};

}  // namespace qm
