// Stand-ins until the sensor, power and GPU sources exist: everything absent.
#include "readers/Sources.h"

namespace qm {

namespace {
struct NoSensors : SensorSource {
    ThermalStats read(bool) override { return {}; }
};
struct NoPower : PowerSource {
    std::optional<PowerReading> read() override { return std::nullopt; }
};
struct NoGPU : GPUSource {
    std::optional<double> read() override { return std::nullopt; }
};
}  // namespace

std::unique_ptr<SensorSource> makeSensorSource() { return std::make_unique<NoSensors>(); }
std::unique_ptr<PowerSource> makePowerSource() { return std::make_unique<NoPower>(); }
std::unique_ptr<GPUSource> makeGPUSource() { return std::make_unique<NoGPU>(); }
ThermalState readThermalState() { return ThermalState::nominal; }

}  // namespace qm
