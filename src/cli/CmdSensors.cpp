// quillmere sensors: every temperature sensor by group, the fans and the thermal state.
#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "cli/Command.h"
#include "cli/Output.h"
#include "core/SnapshotJson.h"
#include "fmt/Fmt.h"
#include "knowledge/Insights.h"
#include "readers/Sources.h"

namespace qm::cli::sensors_command {
namespace {

// The human-readable answer, printed at once in this platform's words.
std::ostringstream text;

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
    const auto label = Insights::thermalLabel(stats);
    text << "Thermal state: " << label.label;
    if (!label.detail.empty()) text << " \u2014 " << label.detail;
    text << '\n';

    if (stats.sensors.empty()) {
        // The state line already says so when nothing raised the state.
        if (stats.hasSensors || stats.state != ThermalState::nominal)
            text << "This machine exposes no temperature sensors.\n";
    } else {
        if (stats.socTemp)
            text << "Chip: " << Fmt::temp(stats.socTemp) << " average, " << Fmt::temp(stats.socMax) << " hottest\n";
        size_t width = 0;
        for (const auto& s : stats.sensors) width = std::max(width, s.name.size() + 2);
        for (auto group : SensorReading::allGroups) {
            bool header = false;
            for (const auto& s : stats.sensors) {
                if (s.group != group) continue;
                if (!header) text << '\n' << title(group) << '\n';
                header = true;
                text << "  " << padded(s.name, width) << Fmt::temp(s.value) << '\n';
            }
        }
    }

    if (!stats.fans.empty()) {
        text << "\nFans\n";
        for (const auto& fan : stats.fans) {
            text << "  Fan " << fan.index + 1 << "  " << Fmt::number(fan.rpm, 0) << " rpm";
            // Super I/O chips report a minimum of 0 when no alarm is set: not a range worth showing.
            if (fan.min && fan.max)
                text << "  (" << Fmt::number(*fan.min, 0) << "\u2013" << Fmt::number(*fan.max, 0) << " rpm)";
            else if (fan.max)
                text << "  (up to " << Fmt::number(*fan.max, 0) << " rpm)";
            else if (fan.min && *fan.min > 0)
                text << "  (at least " << Fmt::number(*fan.min, 0) << " rpm)";
            text << '\n';
        }
    }
}

void write(bool json) {
    const ThermalStats stats = readAll();
    if (json) {
        nlohmann::json out = stats;
        out["stateLabel"] = Insights::thermalLabel(stats).label;
        printJson(out);
    } else {
        printText(stats);
    }
}

void run(bool json) {
    write(json);
    print(text.str());
}

RegisterCommand registration("sensors", [](CLI::App& app) {
    auto json = std::make_shared<bool>(false);
    auto* cmd = app.add_subcommand("sensors", "Show temperatures by group, the fans and the thermal state");
    cmd->add_flag("--json", *json, "The readings as one JSON object");
    cmd->callback([json] { run(*json); });
});

}  // namespace
}  // namespace qm::cli::sensors_command
