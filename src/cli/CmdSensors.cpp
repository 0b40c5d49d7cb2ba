// quillmere sensors: every temperature sensor by group, the fans and the thermal state.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "core/JsonText.h"
#include "core/SnapshotJson.h"
#include "knowledge/Insights.h"
#include "readers/Sources.h"
#include "shell/fmt/Fmt.h"

namespace qm::cli::sensors_command {
namespace {

ThermalStats readAll() {
    auto source = makeSensorSource();
    ThermalStats stats = source ? source->read(true) : ThermalStats{};
    stats.state = readThermalState();
    return stats;
}

std::string padded(const std::string& text, size_t width) {
    // Sensor names are ASCII on every platform we read; pad by bytes.
    return text.size() >= width ? text + " " : text + std::string(width - text.size(), ' ');
}

void printText(const ThermalStats& stats) {
    const auto label = Insights::thermalLabel(stats.state);
    std::cout << "Thermal state: " << label.label;
    if (!label.detail.empty()) std::cout << " \u2014 " << label.detail;
    std::cout << '\n';

    if (stats.sensors.empty()) {
        std::cout << "This machine exposes no temperature sensors.\n";
    } else {
        if (stats.socTemp)
            std::cout << "Chip: " << Fmt::temp(stats.socTemp) << " average, " << Fmt::temp(stats.socMax)
                      << " hottest\n";
        size_t width = 0;
        for (const auto& s : stats.sensors) width = std::max(width, s.name.size() + 2);
        for (auto group : SensorReading::allGroups) {
            bool header = false;
            for (const auto& s : stats.sensors) {
                if (s.group != group) continue;
                if (!header) std::cout << '\n' << title(group) << '\n';
                header = true;
                std::cout << "  " << padded(s.name, width) << Fmt::temp(s.value) << '\n';
            }
        }
    }

    if (!stats.fans.empty()) {
        std::cout << "\nFans\n";
        for (const auto& fan : stats.fans) {
            std::cout << "  Fan " << fan.index + 1 << "  " << Fmt::number(fan.rpm, 0) << " rpm";
            // Super I/O chips report a minimum of 0 when no alarm is set: not a range worth showing.
            if (fan.min && fan.max)
                std::cout << "  (" << Fmt::number(*fan.min, 0) << "\u2013" << Fmt::number(*fan.max, 0) << " rpm)";
            else if (fan.max)
                std::cout << "  (up to " << Fmt::number(*fan.max, 0) << " rpm)";
            else if (fan.min && *fan.min > 0)
                std::cout << "  (at least " << Fmt::number(*fan.min, 0) << " rpm)";
            std::cout << '\n';
        }
    }
}

void run(bool json) {
    const ThermalStats stats = readAll();
    if (json) {
        nlohmann::json out = stats;
        out["stateLabel"] = Insights::thermalLabel(stats.state).label;
        std::cout << jsonText(out) << '\n';
    } else {
        printText(stats);
    }
}

RegisterCommand registration("sensors", [](CLI::App& app) {
    auto json = std::make_shared<bool>(false);
    auto* cmd = app.add_subcommand("sensors", "Show temperatures by group, the fans and the thermal state");
    cmd->add_flag("--json", *json, "The readings as one JSON object");
    cmd->callback([json] { run(*json); });
});

}  // namespace
}  // namespace qm::cli::sensors_command
