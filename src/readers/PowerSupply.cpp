#include "readers/PowerSupply.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>

#include "core/FileRead.h"
#include "readers/SensorReader.h"

namespace qm {

namespace {

constexpr double kMicro = 1e-6;
constexpr double kMaxEstimateMinutes = 48 * 60;

std::optional<double> number(const SupplyProperties& p, const std::string& key) {
    auto it = p.find(key);
    if (it == p.end()) return std::nullopt;
    auto value = parseDouble(it->second);
    if (!value || !std::isfinite(*value)) return std::nullopt;
    return value;
}

std::string text(const SupplyProperties& p, const std::string& key) {
    auto it = p.find(key);
    return it == p.end() ? std::string() : std::string(trim(it->second));
}

bool isAdapterType(std::string_view type) {
    static constexpr std::array<std::string_view, 10> adapters{"Mains",   "USB",     "USB_C",   "USB_PD",  "USB_PD_DRP",
                                                               "USB_DCP", "USB_CDP", "USB_ACA", "BrickID", "Wireless"};
    return std::find(adapters.begin(), adapters.end(), type) != adapters.end();
}

bool isPeripheral(const SupplyProperties& p) { return text(p, "scope") == "Device"; }

// One battery's figures, energies in Wh and flows in W.
struct Cell {
    std::optional<double> capacity;  // percent as the battery reports it
    std::string status;
    std::optional<double> now, full, design;
    std::optional<double> rate;             // for time estimates, same unit family as the energies
    std::optional<double> watts;            // real watts, unsigned
    bool rawNegative = false;               // current_now or power_now printed negative
    std::optional<double> toEmpty, toFull;  // minutes, when the driver reports them
    std::optional<double> cycles;
    std::optional<double> temperature;
};

Cell readCell(const SupplyProperties& p) {
    Cell cell;
    cell.capacity = number(p, "capacity");
    cell.status = text(p, "status");

    // Charge-reporting batteries (µAh) are turned into energy with the present
    // voltage; without one, charges stand in for energies (ratios and times still
    // hold, watts are then unknown).
    auto volts = number(p, "voltage_now");
    if (!volts || *volts <= 0) volts = number(p, "voltage_min_design");
    if (volts && *volts <= 0) volts.reset();
    const double scale = volts ? *volts * kMicro : 1.0;
    auto energy = [&](const std::string& suffix) -> std::optional<double> {
        if (auto e = number(p, "energy_" + suffix)) return *e * kMicro;
        if (auto c = number(p, "charge_" + suffix)) return *c * kMicro * scale;
        return std::nullopt;
    };
    cell.now = energy("now");
    cell.full = energy("full");
    cell.design = energy("full_design");

    if (auto power = number(p, "power_now")) {
        cell.rate = cell.watts = std::fabs(*power) * kMicro;
        cell.rawNegative = *power < 0;
    } else if (auto current = number(p, "current_now")) {
        cell.rate = std::fabs(*current) * kMicro * scale;
        if (volts) cell.watts = cell.rate;
        cell.rawNegative = *current < 0;
    }
    if (auto s = number(p, "time_to_empty_now")) cell.toEmpty = *s / 60.0;
    if (auto s = number(p, "time_to_full_now")) cell.toFull = *s / 60.0;
    cell.cycles = number(p, "cycle_count");
    if (auto tenths = number(p, "temp")) cell.temperature = *tenths / 10.0;
    return cell;
}

std::optional<double> sum(const std::vector<Cell>& cells, std::optional<double> Cell::*field) {
    double total = 0;
    for (const auto& cell : cells) {
        if (!(cell.*field)) return std::nullopt;
        total += *(cell.*field);
    }
    return total;
}

// Several batteries (the two packs of some ThinkPads) read as one: energies and flows
// add up; the status is charging when any charges, discharging when any discharges.
Cell combine(const std::vector<Cell>& cells) {
    if (cells.size() == 1) return cells.front();
    Cell all = cells.front();
    all.now = sum(cells, &Cell::now);
    all.full = sum(cells, &Cell::full);
    all.design = sum(cells, &Cell::design);
    all.rate = sum(cells, &Cell::rate);
    all.watts = sum(cells, &Cell::watts);
    all.toEmpty.reset();
    all.toFull.reset();
    double capacities = 0;
    size_t withCapacity = 0;
    for (const auto& cell : cells) {
        if (cell.status == "Charging")
            all.status = "Charging";
        else if (cell.status == "Discharging" && all.status != "Charging")
            all.status = "Discharging";
        if (cell.capacity) capacities += *cell.capacity, ++withCapacity;
    }
    if (all.now && all.full && *all.full > 0)
        all.capacity = *all.now / *all.full * 100.0;
    else
        all.capacity =
            withCapacity ? std::optional<double>(capacities / static_cast<double>(withCapacity)) : std::nullopt;
    return all;
}

double percentOf(const Cell& cell) {
    if (cell.capacity) return std::clamp(*cell.capacity, 0.0, 100.0);
    if (cell.now) {
        if (cell.full && *cell.full > 0) return std::clamp(*cell.now / *cell.full * 100.0, 0.0, 100.0);
        if (cell.design && *cell.design > 0) return std::clamp(*cell.now / *cell.design * 100.0, 0.0, 100.0);
    }
    return 0;
}

}  // namespace

SupplyProperties parseSupplyUevent(std::string_view text) {
    SupplyProperties properties;
    constexpr std::string_view prefix = "POWER_SUPPLY_";
    for (auto line : splitLines(text)) {
        line = trim(line);
        auto equals = line.find('=');
        if (equals == std::string_view::npos || equals == 0) continue;
        auto key = line.substr(0, equals);
        if (key.substr(0, prefix.size()) == prefix) key.remove_prefix(prefix.size());
        std::string name(key);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        properties[name] = std::string(line.substr(equals + 1));
    }
    return properties;
}

std::optional<int64_t> estimateMinutes(bool charging, double now, double full, double rate) {
    if (!(rate > 0)) return std::nullopt;
    const double minutes = (charging ? std::max(full - now, 0.0) : now) / rate * 60.0;
    if (!(minutes >= 1) || minutes > kMaxEstimateMinutes) return std::nullopt;
    return std::llround(minutes);
}

BatteryStats batteryFromSupplies(const std::vector<SupplyProperties>& supplies) {
    BatteryStats battery;
    std::vector<Cell> cells;
    bool anyAdapter = false, adapterOnline = false;
    std::optional<double> adapterWatts;
    for (const auto& supply : supplies) {
        if (isPeripheral(supply)) continue;
        const std::string type = text(supply, "type");
        if (type == "Battery") {
            if (text(supply, "present") == "0") continue;
            cells.push_back(readCell(supply));
        } else if (isAdapterType(type)) {
            anyAdapter = true;
            if (text(supply, "online") != "1") continue;
            adapterOnline = true;
            // USB Power Delivery supplies advertise the negotiated contract.
            auto volts = number(supply, "voltage_max"), amps = number(supply, "current_max");
            if (volts && amps && *volts > 0 && *amps > 0) {
                const double watts = *volts * kMicro * *amps * kMicro;
                adapterWatts = std::max(adapterWatts.value_or(0.0), watts);
            }
        }
    }
    if (cells.empty()) return battery;

    const Cell cell = combine(cells);
    battery.present = true;
    battery.percent = percentOf(cell);
    battery.isCharging = cell.status == "Charging";
    const bool discharging = cell.status == "Discharging";
    // The adapters decide; a charging battery proves one; without any adapter entry the
    // battery's own status is all there is.
    battery.onAC = anyAdapter ? (adapterOnline || battery.isCharging) : !discharging;
    if (battery.onAC) battery.adapterWatts = adapterWatts;

    if (battery.isCharging && cell.toFull && *cell.toFull >= 1)
        battery.minutesRemaining = std::llround(*cell.toFull);
    else if (discharging && cell.toEmpty && *cell.toEmpty >= 1)
        battery.minutesRemaining = std::llround(*cell.toEmpty);
    else if ((battery.isCharging || discharging) && cell.now && cell.rate)
        battery.minutesRemaining = estimateMinutes(battery.isCharging, *cell.now,
                                                   cell.full ? *cell.full : cell.design.value_or(0), *cell.rate);

    // ACPI firmware that does not count cycles reports 0.
    if (cell.cycles && *cell.cycles > 0) battery.cycleCount = static_cast<int64_t>(*cell.cycles);
    if (cell.full && cell.design && *cell.design > 0)
        battery.healthPercent = std::min(*cell.full / *cell.design * 100.0, 100.0);
    if (cell.temperature && isPlausibleTemperature(*cell.temperature)) battery.temperature = cell.temperature;

    if (cell.watts) {
        const bool negative = discharging || (!battery.isCharging && cell.rawNegative);
        battery.batteryPower = negative && *cell.watts > 0 ? -*cell.watts : *cell.watts;
    }
    return battery;
}

}  // namespace qm
