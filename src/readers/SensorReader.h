// Fills ThermalStats from whatever temperature sensors and fans the machine offers.
// The platform part (SensorBackend) lists sensors once and reads one value at a time;
// everything decided about those values (the light list, the plausibility filter,
// the summary temperatures) lives here.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Platform.h"
#include "core/Snapshot.h"

namespace qm {

struct SensorChannel {
    std::string name;
    SensorReading::Group group = SensorReading::Group::other;
};

class SensorBackend {
public:
    virtual ~SensorBackend() = default;
    // Every temperature sensor, in display order; fixed for the backend's life.
    virtual const std::vector<SensorChannel>& channels() const = 0;
    // Degrees Celsius of channel `index`, or absent when it gives nothing this time.
    virtual std::optional<double> readTemperature(size_t index) = 0;
    virtual std::vector<FanReading> readFans() = 0;
    virtual ThermalState thermalState() = 0;
};

// Sensors report nonsense at both ends (0 °C from sleeping dies, −273 or 65 000 °C
// from unwired inputs): only 1.0 < value < 130.0 counts as a temperature.
bool isPlausibleTemperature(double celsius);

// Positions kept for the light list out of `cpuCount` CPU sensors: at most four,
// evenly spread (step = max(n, 4) / 4; positions 0, step, 2·step, 3·step that exist).
std::vector<size_t> lightListPositions(size_t cpuCount);

// socTemp/socMax (mean and hottest CPU reading), gpuTemp (mean of the GPU readings),
// ssdTemp (the hottest drive: one hot drive is what matters) and batteryTemp (mean),
// each absent when its group has no reading.
void summarizeTemperatures(ThermalStats& stats);

class SensorReader : public SensorSource {
public:
    explicit SensorReader(std::unique_ptr<SensorBackend> backend);
    ThermalStats read(bool full) override;

    // Channel indexes read on light ticks.
    const std::vector<size_t>& lightChannels() const { return light_; }

private:
    std::unique_ptr<SensorBackend> backend_;
    std::vector<size_t> all_;
    std::vector<size_t> light_;
};

}  // namespace qm
