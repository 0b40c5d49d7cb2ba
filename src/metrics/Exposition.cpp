#include "metrics/Exposition.h"

#include <map>
#include <set>
#include <string_view>

namespace qm::metrics {

namespace {

using M = MetricType;

double ratio(double percent) { return percent / 100.0; }
double bytes(uint64_t value) { return static_cast<double>(value); }

void machineFigures(ExpositionWriter& w, const Snapshot& s) {
    w.family("quillmere_sample_timestamp_seconds", M::gauge, "seconds",
             "When the sample shown was taken, in seconds since 1970 (scrapes never sample).");
    w.sample(s.date);
    w.family("quillmere_sample_interval_seconds", M::gauge, "seconds", "Seconds between the last two samples.");
    w.sample(s.interval);

    w.family("quillmere_cpu_usage_ratio", M::gauge, "ratio", "Busy share of all cores, user and system, 0 to 1.");
    w.sample(ratio(s.cpu.total));
    w.family("quillmere_cpu_mode_usage_ratio", M::gauge, "ratio",
             "Busy share of all cores by mode; user and system add up to quillmere_cpu_usage_ratio.");
    w.sample({{"mode", "user"}}, ratio(s.cpu.user));
    w.sample({{"mode", "system"}}, ratio(s.cpu.system));
    w.family("quillmere_cpu_core_usage_ratio", M::gauge, "ratio", "Busy share of one logical CPU, 0 to 1.");
    for (size_t i = 0; i < s.cpu.perCore.size(); ++i) {
        const std::string core = std::to_string(i);
        const auto type = i < s.cpu.coreTypes.size() ? rawValue(s.cpu.coreTypes[i]) : std::string_view("unknown");
        w.sample({{"core", core}, {"type", type}}, ratio(s.cpu.perCore[i]));
    }
    w.family("quillmere_load1", M::gauge, "", "Load average over 1 minute.");
    w.sample(s.cpu.load[0]);
    w.family("quillmere_load5", M::gauge, "", "Load average over 5 minutes.");
    w.sample(s.cpu.load[1]);
    w.family("quillmere_load15", M::gauge, "", "Load average over 15 minutes.");
    w.sample(s.cpu.load[2]);

    const MemoryStats& m = s.memory;
    if (m.total > 0) {  // no memory reading at all
        w.family("quillmere_memory_total_bytes", M::gauge, "bytes",
                 "Memory the system manages (on Linux MemTotal, a little less than is installed).");
        w.sample(bytes(m.total));
        w.family("quillmere_memory_bytes", M::gauge, "bytes",
                 "Memory by part: app, wired, compressed, cached and free add up to the total memory.");
        w.sample({{"part", "app"}}, bytes(m.app));
        w.sample({{"part", "wired"}}, bytes(m.wired));
        w.sample({{"part", "compressed"}}, bytes(m.compressed));
        w.sample({{"part", "cached"}}, bytes(m.cached));
        w.sample({{"part", "free"}}, bytes(m.free));
        w.family("quillmere_memory_used_bytes", M::gauge, "bytes", "Used memory: app, wired and compressed.");
        w.sample(bytes(m.used()));
        w.family("quillmere_memory_pressure_ratio", M::gauge, "ratio",
                 "Memory pressure, 0 to 1: the share of memory that is not available.");
        w.sample(ratio(m.pressure));
        w.family("quillmere_memory_pressure_level", M::gauge, "",
                 "1 for the memory pressure level in force (normal, warning, critical), 0 for the others.");
        for (PressureLevel level : {PressureLevel::normal, PressureLevel::warning, PressureLevel::critical})
            w.sample({{"level", rawValue(level)}}, m.pressureLevel == level ? 1 : 0);
        w.family("quillmere_swap_used_bytes", M::gauge, "bytes", "Swap in use.");
        w.sample(bytes(m.swapUsed));
        w.family("quillmere_swap_total_bytes", M::gauge, "bytes", "Swap space allocated.");
        w.sample(bytes(m.swapTotal));
    }

    if (s.gpu) {
        w.family("quillmere_gpu_usage_ratio", M::gauge, "ratio", "GPU busy share, 0 to 1.");
        w.sample(ratio(*s.gpu));
    }
    if (s.systemPower) {
        w.family(
            "quillmere_system_power_watts", M::gauge, "watts",
            "Power drawn by the machine, or by the processor package alone: see quillmere_system_power_scope_info.");
        w.sample(*s.systemPower);
        w.family("quillmere_system_power_scope", M::info, "",
                 "What quillmere_system_power_watts covers: the whole machine, or the processor package only.");
        w.sample({{"scope", s.systemPowerScope == PowerScope::package ? "package" : "machine"}}, 1);
    }

    w.family("quillmere_network_receive_bytes_per_second", M::gauge, "", "Bytes received per second, all interfaces.");
    w.sample(s.network.rxRate);
    w.family("quillmere_network_transmit_bytes_per_second", M::gauge, "", "Bytes sent per second, all interfaces.");
    w.sample(s.network.txRate);
    w.family("quillmere_network_receive_bytes", M::counter, "bytes", "Bytes received since boot, all interfaces.");
    w.sample(bytes(s.network.rxTotal));
    w.family("quillmere_network_transmit_bytes", M::counter, "bytes", "Bytes sent since boot, all interfaces.");
    w.sample(bytes(s.network.txTotal));
    w.family("quillmere_disk_read_bytes_per_second", M::gauge, "", "Bytes read from the disks per second.");
    w.sample(s.disk.readRate);
    w.family("quillmere_disk_written_bytes_per_second", M::gauge, "", "Bytes written to the disks per second.");
    w.sample(s.disk.writeRate);
    if (s.disk.totalSpace > 0) {
        w.family("quillmere_filesystem_size_bytes", M::gauge, "bytes", "Size of the startup volume.");
        w.sample({{"mountpoint", "/"}}, bytes(s.disk.totalSpace));
        w.family("quillmere_filesystem_free_bytes", M::gauge, "bytes",
                 "Space free for the user on the startup volume.");
        w.sample({{"mountpoint", "/"}}, bytes(s.disk.freeSpace));
    }
    if (s.uptime > 0) {
        w.family("quillmere_boot_time_seconds", M::gauge, "seconds",
                 "When the machine started, in seconds since 1970.");
        w.sample(s.date - s.uptime);
    }
    w.family("quillmere_processes", M::gauge, "", "Processes seen in the last sample.");
    w.sample(static_cast<double>(s.processCount));
}

void thermalFigures(ExpositionWriter& w, const ThermalStats& t) {
    w.family("quillmere_thermal_state", M::gauge, "",
             "The system's thermal state: 0 nominal, 1 fair, 2 serious (throttling), 3 critical.");
    w.sample(static_cast<double>(static_cast<int>(t.state)));
    const std::pair<const char*, const std::optional<double>&> summaries[] = {
        {"quillmere_cpu_temperature_celsius", t.socTemp},
        {"quillmere_cpu_hottest_temperature_celsius", t.socMax},
        {"quillmere_gpu_temperature_celsius", t.gpuTemp},
        {"quillmere_storage_temperature_celsius", t.ssdTemp},
        {"quillmere_battery_temperature_celsius", t.batteryTemp},
    };
    const char* helps[] = {"Average of the CPU's temperature sensors.", "Hottest of the CPU's temperature sensors.",
                           "GPU temperature.", "Storage temperature.", "Battery temperature."};
    for (size_t i = 0; i < std::size(summaries); ++i) {
        if (!summaries[i].second) continue;
        w.family(summaries[i].first, M::gauge, "celsius", helps[i]);
        w.sample(*summaries[i].second);
    }
    w.family("quillmere_sensor_temperature_celsius", M::gauge, "celsius", "One temperature sensor.");
    // Two sensors of one group may share a name; a series must be unique, so the
    // second becomes "name #2".
    std::map<std::pair<std::string_view, std::string>, int> seen;
    for (const SensorReading& sensor : t.sensors) {
        const std::string_view group = rawValue(sensor.group);
        int n = ++seen[{group, sensor.name}];
        const std::string name = n == 1 ? sensor.name : sensor.name + " #" + std::to_string(n);
        w.sample({{"group", group}, {"sensor", name}}, sensor.value);
    }
    w.family("quillmere_fan_speed_rpm", M::gauge, "", "Fan speed in revolutions per minute.");
    for (const FanReading& fan : t.fans) w.sample({{"fan", std::to_string(fan.index)}}, fan.rpm);
    w.family("quillmere_fan_min_rpm", M::gauge, "", "A fan's lowest speed in revolutions per minute.");
    for (const FanReading& fan : t.fans)
        if (fan.min) w.sample({{"fan", std::to_string(fan.index)}}, *fan.min);
    w.family("quillmere_fan_max_rpm", M::gauge, "", "A fan's highest speed in revolutions per minute.");
    for (const FanReading& fan : t.fans)
        if (fan.max) w.sample({{"fan", std::to_string(fan.index)}}, *fan.max);
}

void batteryFigures(ExpositionWriter& w, const BatteryStats& b) {
    if (!b.present) return;
    w.family("quillmere_battery_charge_ratio", M::gauge, "ratio", "Battery charge, 0 to 1.");
    w.sample(ratio(b.percent));
    w.family("quillmere_battery_charging", M::gauge, "", "1 while the battery charges.");
    w.sample(b.isCharging ? 1 : 0);
    w.family("quillmere_on_battery", M::gauge, "", "1 while the machine runs on its battery, 0 on external power.");
    w.sample(b.onAC ? 0 : 1);
    if (b.minutesRemaining) {
        w.family("quillmere_battery_time_remaining_seconds", M::gauge, "seconds",
                 "Time until the battery is empty, or full while it charges.");
        w.sample(static_cast<double>(*b.minutesRemaining) * 60);
    }
    if (b.cycleCount) {
        w.family("quillmere_battery_cycles", M::gauge, "", "Charge cycles the battery has been through.");
        w.sample(static_cast<double>(*b.cycleCount));
    }
    if (b.healthPercent) {
        w.family("quillmere_battery_health_ratio", M::gauge, "ratio",
                 "The battery's full capacity as a share of its design capacity.");
        w.sample(ratio(*b.healthPercent));
    }
    if (b.batteryPower) {
        w.family("quillmere_battery_power_watts", M::gauge, "watts", "Power flowing out of or into the battery.");
        w.sample(*b.batteryPower);
    }
    if (b.adapterWatts) {
        w.family("quillmere_power_adapter_watts", M::gauge, "watts", "Rated power of the connected adapter.");
        w.sample(*b.adapterWatts);
    }
}

void appFigures(ExpositionWriter& w, const MetricsFrame& frame) {
    w.family("quillmere_apps", M::gauge, "", "Apps (groups of processes) seen in the last sample.");
    w.sample(static_cast<double>(frame.appCount));
    auto each = [&](auto value) {
        for (const AppFigures& app : frame.apps) {
            auto v = value(app);
            if (!v) continue;
            if (app.kind)
                w.sample({{"app", app.key}, {"name", app.name}, {"kind", rawValue(*app.kind)}}, *v);
            else
                w.sample({{"app", app.key}, {"name", app.name}}, *v);
        }
    };
    w.family("quillmere_app_cpu_usage_ratio", M::gauge, "ratio",
             "An app's CPU use: 1 is one full core. The busiest apps, and app=\"other\" for all the rest.");
    each([](const AppFigures& a) { return std::optional<double>(ratio(a.cpu)); });
    w.family("quillmere_app_memory_bytes", M::gauge, "bytes", "An app's memory footprint.");
    each([](const AppFigures& a) { return std::optional<double>(bytes(a.memory)); });
    w.family("quillmere_app_power_watts", M::gauge, "watts", "An app's estimated power, where it can be measured.");
    each([](const AppFigures& a) { return a.power; });
    w.family("quillmere_app_disk_read_bytes_per_second", M::gauge, "", "Bytes an app reads from disk per second.");
    each([](const AppFigures& a) { return std::optional<double>(a.diskReadRate); });
    w.family("quillmere_app_disk_written_bytes_per_second", M::gauge, "", "Bytes an app writes to disk per second.");
    each([](const AppFigures& a) { return std::optional<double>(a.diskWriteRate); });
}

}  // namespace

const char* severityLabel(size_t severity) {
    static const char* const labels[] = {"information", "warning", "serious"};
    return severity < std::size(labels) ? labels[severity] : "serious";
}

std::string renderExposition(const MetricsFrame& frame, ExpositionFormat format) {
    ExpositionWriter w(format);
    if (frame.machine) {
        const Snapshot& s = *frame.machine;
        machineFigures(w, s);
        w.family("quillmere_disk_read_bytes", M::counter, "bytes",
                 "Bytes read from the disks while Quillmere ran, from each sample's rate.");
        w.sample(frame.diskReadBytes);
        w.family("quillmere_disk_written_bytes", M::counter, "bytes",
                 "Bytes written to the disks while Quillmere ran, from each sample's rate.");
        w.sample(frame.diskWrittenBytes);
        thermalFigures(w, s.thermal);
        batteryFigures(w, s.battery);
        appFigures(w, frame);
        w.family("quillmere_self_cpu_usage_ratio", M::gauge, "ratio", "Quillmere's own CPU use: 1 is one full core.");
        w.sample(ratio(s.selfCost.cpu));
        w.family("quillmere_self_memory_bytes", M::gauge, "bytes", "Quillmere's own memory footprint.");
        w.sample(bytes(s.selfCost.memory));
        w.family("quillmere_self_disk_written_bytes", M::counter, "bytes",
                 "Bytes Quillmere has written since it started.");
        w.sample(bytes(s.selfCost.diskWrittenSinceLaunch));
    }
    w.family("quillmere_events", M::counter, "",
             "Events detected since Quillmere started, by kind and severity (information, warning, serious).");
    for (size_t kind = 0; kind < allEventKinds.size(); ++kind)
        for (size_t severity = 0; severity < 3; ++severity)
            w.sample({{"kind", rawValue(allEventKinds[kind])}, {"severity", severityLabel(severity)}},
                     static_cast<double>(frame.events[kind][severity]));
    w.family("quillmere_build", M::info, "", "The version of Quillmere serving these metrics.");
    w.sample({{"version", frame.version}}, 1);
    return w.finish();
}

}  // namespace qm::metrics
