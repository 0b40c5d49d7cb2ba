#include "readers/SensorReader.h"

#include <algorithm>
#include <numeric>

namespace qm {

bool isPlausibleTemperature(double celsius) { return celsius > 1.0 && celsius < 130.0; }

std::vector<size_t> lightListPositions(size_t cpuCount) {
    std::vector<size_t> positions;
    const size_t step = std::max<size_t>(cpuCount, 4) / 4;
    for (size_t i = 0; i < 4 && i * step < cpuCount; ++i) positions.push_back(i * step);
    return positions;
}

namespace {

struct GroupFigures {
    double sum = 0;
    double max = 0;
    size_t count = 0;

    void add(double value) {
        max = count == 0 ? value : std::max(max, value);
        sum += value;
        ++count;
    }
    std::optional<double> mean() const {
        return count ? std::optional<double>(sum / static_cast<double>(count)) : std::nullopt;
    }
    std::optional<double> hottest() const { return count ? std::optional<double>(max) : std::nullopt; }
};

}  // namespace

void summarizeTemperatures(ThermalStats& stats) {
    using Group = SensorReading::Group;
    GroupFigures cpu, gpu, storage, battery;
    for (const auto& reading : stats.sensors) {
        switch (reading.group) {
            case Group::cpu: cpu.add(reading.value); break;
            case Group::gpu: gpu.add(reading.value); break;
            case Group::storage: storage.add(reading.value); break;
            case Group::battery: battery.add(reading.value); break;
            default: break;
        }
    }
    stats.socTemp = cpu.mean();
    stats.socMax = cpu.hottest();
    stats.gpuTemp = gpu.mean();
    stats.ssdTemp = storage.hottest();
    stats.batteryTemp = battery.mean();
}

SensorReader::SensorReader(std::unique_ptr<SensorBackend> backend) : backend_(std::move(backend)) {
    if (!backend_) return;
    const auto& channels = backend_->channels();
    all_.resize(channels.size());
    std::iota(all_.begin(), all_.end(), size_t{0});

    std::vector<size_t> cpu;
    for (size_t i = 0; i < channels.size(); ++i)
        if (channels[i].group == SensorReading::Group::cpu) cpu.push_back(i);
    for (size_t position : lightListPositions(cpu.size())) light_.push_back(cpu[position]);
}

ThermalStats SensorReader::read(bool full) {
    ThermalStats stats;
    stats.hasSensors = backend_ && !backend_->channels().empty();
    if (!backend_) return stats;
    stats.state = backend_->thermalState();

    const auto& channels = backend_->channels();
    for (size_t index : full ? all_ : light_) {
        auto value = backend_->readTemperature(index);
        if (!value || !isPlausibleTemperature(*value)) continue;
        stats.sensors.push_back({channels[index].name, *value, channels[index].group});
    }
    summarizeTemperatures(stats);
    if (full) stats.fans = backend_->readFans();
    return stats;
}

}  // namespace qm
