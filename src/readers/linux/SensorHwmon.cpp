#include "readers/linux/SensorHwmon.h"

#include "core/FileRead.h"
#include "core/Paths.h"
#include "readers/Sources.h"

namespace qm {

HwmonSensorBackend::HwmonSensorBackend(const std::string& root) : scan_(scanHwmon(root)), thermal_(root) {
    channels_.reserve(scan_.temperatures.size());
    for (const auto& t : scan_.temperatures) channels_.push_back({t.name, t.group});
}

std::optional<double> HwmonSensorBackend::readTemperature(size_t index) {
    if (index >= scan_.temperatures.size()) return std::nullopt;
    return readMilliCelsius(scan_.temperatures[index].inputPath);
}

std::vector<FanReading> HwmonSensorBackend::readFans() {
    std::vector<FanReading> fans;
    for (size_t i = 0; i < scan_.fans.size(); ++i) {
        const auto& fan = scan_.fans[i];
        // Unconnected headers read 0 like a stopped fan; both are shown, since a GPU
        // that parks its fans when cool is worth seeing. A fan keeps its number when
        // another one stops answering.
        auto rpm = readDouble(fan.inputPath);
        if (!rpm || *rpm < 0 || *rpm > 100000) continue;
        fans.push_back({static_cast<int64_t>(i), *rpm, fan.min, fan.max});
    }
    return fans;
}

std::unique_ptr<SensorSource> makeSensorSource() {
    return std::make_unique<SensorReader>(std::make_unique<HwmonSensorBackend>(systemRoot()));
}

}  // namespace qm
