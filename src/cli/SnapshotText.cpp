#include "cli/SnapshotText.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

#include "fmt/Fmt.h"

namespace qm::cli {

namespace {

std::string thermalName(const ThermalStats& stats) {
    if (!stats.hasSensors && stats.state == ThermalState::nominal) return "no temperature sensors";
    switch (stats.state) {
        case ThermalState::nominal: return "nominal";
        case ThermalState::fair: return "fair";
        case ThermalState::serious: return "serious";
        case ThermalState::critical: return "critical";
    }
    return "nominal";
}

void line(std::ostringstream& out, const char* label, const std::string& text) {
    out << "  " << label;
    for (size_t pad = std::char_traits<char>::length(label); pad < 11; ++pad) out << ' ';
    out << text << '\n';
}

}  // namespace

std::string describeSnapshot(const Snapshot& s) {
    std::ostringstream out;
    out << Fmt::time(s.date) << "  (" << Fmt::number(s.interval, 1) << " s since the last sample; up "
        << Fmt::duration(s.uptime) << ")\n";

    std::ostringstream cpu;
    cpu << Fmt::percent(s.cpu.total) << "  user " << Fmt::percent(s.cpu.user) << ", system "
        << Fmt::percent(s.cpu.system) << "   load " << Fmt::number(s.cpu.load[0], 2) << " "
        << Fmt::number(s.cpu.load[1], 2) << " " << Fmt::number(s.cpu.load[2], 2);
    if (auto p = s.cpu.average(CPUStats::CoreType::performance)) cpu << "   performance cores " << Fmt::percent(*p);
    if (auto e = s.cpu.average(CPUStats::CoreType::efficiency)) cpu << ", efficiency cores " << Fmt::percent(*e);
    line(out, "CPU", cpu.str());
    std::ostringstream cores;
    for (size_t i = 0; i < s.cpu.perCore.size(); ++i) cores << (i ? " " : "") << Fmt::percent(s.cpu.perCore[i]);
    line(out, "Cores", cores.str());

    const auto& m = s.memory;
    line(out, "Memory",
         Fmt::bytes(static_cast<double>(m.used())) + " used of " + Fmt::bytes(static_cast<double>(m.total)) +
             "  (apps " + Fmt::bytes(static_cast<double>(m.app)) + ", wired " +
             Fmt::bytes(static_cast<double>(m.wired)) + ", compressed " +
             Fmt::bytes(static_cast<double>(m.compressed)) + ", cached " + Fmt::bytes(static_cast<double>(m.cached)) +
             ", free " + Fmt::bytes(static_cast<double>(m.free)) + ")");
    line(out, "Pressure", Fmt::percent(m.pressure) + "  " + caption(m.pressureLevel));
    line(out, "Swap",
         Fmt::bytes(static_cast<double>(m.swapUsed)) + " used of " + Fmt::bytes(static_cast<double>(m.swapTotal)));
    line(out, "Network",
         "in " + Fmt::rate(s.network.rxRate) + ", out " + Fmt::rate(s.network.txRate) + "   (since boot: in " +
             Fmt::bytes(static_cast<double>(s.network.rxTotal)) + ", out " +
             Fmt::bytes(static_cast<double>(s.network.txTotal)) + ")");
    line(out, "Disk",
         "read " + Fmt::rate(s.disk.readRate) + ", write " + Fmt::rate(s.disk.writeRate) + "   " +
             Fmt::bytes(static_cast<double>(s.disk.freeSpace)) + " free of " +
             Fmt::bytes(static_cast<double>(s.disk.totalSpace)));
    line(out, "GPU", s.gpu ? Fmt::percent(*s.gpu) : Fmt::absent);
    std::string power = Fmt::watts(s.systemPower);
    // RAPL's package zones leave out the display, storage and the rest of the board.
    if (s.systemPower && s.systemPowerScope == PowerScope::package) power += " (processor package only)";
    line(out, "Power", power);
    if (s.battery.present) {
        const auto& b = s.battery;
        std::string text = Fmt::percent(static_cast<int>(std::lround(b.percent)));
        text += b.isCharging ? ", charging" : (b.onAC ? ", on power adapter" : ", on battery");
        if (b.minutesRemaining)
            text += ", " + Fmt::minutes(*b.minutesRemaining) + (b.isCharging ? " to full" : " left");
        if (b.healthPercent) text += ", health " + Fmt::percent(*b.healthPercent);
        if (b.cycleCount) text += ", " + std::to_string(*b.cycleCount) + " cycles";
        line(out, "Battery", text);
    } else {
        line(out, "Battery", "none");
    }
    std::string thermal = thermalName(s.thermal);
    if (s.thermal.socTemp)
        thermal += ", chip " + Fmt::temp(s.thermal.socTemp) + " (hottest " + Fmt::temp(s.thermal.socMax) + ")";
    if (!s.thermal.fans.empty()) {
        thermal += ", fans";
        for (const auto& fan : s.thermal.fans) thermal += " " + Fmt::number(fan.rpm, 0) + " rpm";
    }
    line(out, "Thermal", thermal);
    line(out, "Processes",
         std::to_string(s.processCount) + " in " + std::to_string(s.groups.size()) + " groups" +
             (s.restrictedVisible ? "" : " (other users' processes not read this time)"));
    // The busiest app groups, as the apps command would list them first.
    std::vector<const AppGroup*> busiest;
    for (const auto& group : s.groups) busiest.push_back(&group);
    const size_t shown = std::min<size_t>(5, busiest.size());
    std::partial_sort(busiest.begin(), busiest.begin() + static_cast<std::ptrdiff_t>(shown), busiest.end(),
                      [](const AppGroup* a, const AppGroup* b) { return a->cpu > b->cpu; });
    for (size_t i = 0; i < shown; ++i)
        line(out, i == 0 ? "Busiest" : "",
             Fmt::percent(busiest[i]->cpu) + "  " + busiest[i]->name + "  (" +
                 Fmt::bytes(static_cast<double>(busiest[i]->memory)) + ")");
    line(out, "Quillmere",
         "CPU " + Fmt::percent(s.selfCost.cpu) + ", memory " + Fmt::bytes(static_cast<double>(s.selfCost.memory)) +
             ", written " + Fmt::bytes(static_cast<double>(s.selfCost.diskWrittenSinceLaunch)));
    return out.str();
}

}  // namespace qm::cli
