// Temperatures and fans from Linux hwmon (thermal zones where hwmon has none).
#pragma once

#include <string>
#include <vector>

#include "readers/SensorReader.h"
#include "readers/linux/SensorHwmonScan.h"
#include "readers/linux/ThermalLinux.h"

namespace qm {

class HwmonSensorBackend : public SensorBackend {
public:
    // Scans below `root` once; sensors that appear later are not picked up, sensors
    // that vanish simply stop giving readings.
    explicit HwmonSensorBackend(const std::string& root);

    const std::vector<SensorChannel>& channels() const override { return channels_; }
    std::optional<double> readTemperature(size_t index) override;
    std::vector<FanReading> readFans() override;
    ThermalState thermalState() override { return thermal_.read(); }

private:
    HwmonScan scan_;
    std::vector<SensorChannel> channels_;
    LinuxThermalMonitor thermal_;
};

}  // namespace qm
