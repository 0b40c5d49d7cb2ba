#include "metrics/HistoryOpenMetrics.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include "metrics/ExpositionWriter.h"

namespace qm::metrics {

namespace {

using M = MetricType;

constexpr size_t pieceBytes = 1 << 20;

struct SystemFamily {
    const char* name;
    const char* unit;
    const char* help;
    std::optional<double> (*value)(const SystemMinute&);
};

const char* pressureLevelName(int64_t code) {
    // The minute history keeps the kernel's codes: 1 normal, 2 warning, 4 critical.
    return code >= 4 ? "critical" : code >= 2 ? "warning" : "normal";
}

}  // namespace

void writeHistoryOpenMetrics(const std::vector<SystemMinute>& system, const std::vector<AppMinute>& apps,
                             const std::function<void(std::string_view)>& write) {
    ExpositionWriter w(ExpositionFormat::openMetrics);
    auto flushIfLarge = [&] {
        if (w.pendingBytes() >= pieceBytes) write(w.take());
    };
    static const SystemFamily families[] = {
        {"quillmere_cpu_usage_ratio", "ratio", "Busy share of all cores, 0 to 1 (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.cpu / 100); }},
        {"quillmere_memory_used_bytes", "bytes",
         "Used memory: app, wired and compressed (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.memUsed); }},
        {"quillmere_memory_total_bytes", "bytes",
         "Memory the system manages (on Linux MemTotal, a little less than is installed).",
         [](const SystemMinute& m) { return m.memTotal > 0 ? std::optional<double>(m.memTotal) : std::nullopt; }},
        {"quillmere_memory_pressure_ratio", "ratio", "Memory pressure, 0 to 1 (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.pressure / 100); }},
        {"quillmere_swap_used_bytes", "bytes", "Swap in use (a recorded minute's peak).",
         [](const SystemMinute& m) { return std::optional<double>(m.swap); }},
        {"quillmere_gpu_usage_ratio", "ratio", "GPU busy share, 0 to 1 (a recorded minute's average).",
         [](const SystemMinute& m) { return m.gpu ? std::optional<double>(*m.gpu / 100) : std::nullopt; }},
        {"quillmere_system_power_watts", "watts", "Power drawn by the machine (a recorded minute's average).",
         [](const SystemMinute& m) { return m.power; }},
        {"quillmere_cpu_temperature_celsius", "celsius", "Average of the CPU's sensors (a recorded minute's average).",
         [](const SystemMinute& m) { return m.socTemp; }},
        {"quillmere_network_receive_bytes_per_second", "", "Bytes received per second (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.netRx); }},
        {"quillmere_network_transmit_bytes_per_second", "", "Bytes sent per second (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.netTx); }},
        {"quillmere_disk_read_bytes_per_second", "",
         "Bytes read from the disks per second (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.diskRead); }},
        {"quillmere_disk_written_bytes_per_second", "",
         "Bytes written to the disks per second (a recorded minute's average).",
         [](const SystemMinute& m) { return std::optional<double>(m.diskWrite); }},
        {"quillmere_battery_charge_ratio", "ratio", "Battery charge, 0 to 1 (the minute's last reading).",
         [](const SystemMinute& m) { return m.battery ? std::optional<double>(*m.battery / 100) : std::nullopt; }},
        {"quillmere_on_battery", "", "1 when the machine ran on its battery during the minute.",
         [](const SystemMinute& m) { return m.battery ? std::optional<double>(m.onBattery ? 1 : 0) : std::nullopt; }},
        {"quillmere_thermal_state", "", "The minute's highest thermal state: 0 nominal, 1 fair, 2 serious, 3 critical.",
         [](const SystemMinute& m) { return std::optional<double>(static_cast<double>(m.thermal)); }},
    };
    for (const SystemFamily& family : families) {
        w.family(family.name, M::gauge, family.unit, family.help);
        for (const SystemMinute& minute : system) {
            if (auto value = family.value(minute)) w.sample({}, *value, minute.ts);
            flushIfLarge();
        }
    }
    w.family("quillmere_memory_pressure_level", M::gauge, "",
             "1 for the minute's highest memory pressure level (normal, warning, critical), 0 for the others.");
    for (const char* level : {"normal", "warning", "critical"}) {
        for (const SystemMinute& minute : system) {
            w.sample({{"level", level}}, pressureLevelName(minute.pressureLevel) == std::string_view(level) ? 1 : 0,
                     minute.ts);
            flushIfLarge();
        }
    }

    // Each app's rows together and in time order, under the app's latest name: a
    // series must not be interleaved with another, nor change its labels midway.
    std::vector<const AppMinute*> order;
    order.reserve(apps.size());
    for (const AppMinute& app : apps) order.push_back(&app);
    std::stable_sort(order.begin(), order.end(), [](const AppMinute* a, const AppMinute* b) {
        return a->key != b->key ? a->key < b->key : a->ts < b->ts;
    });
    std::map<std::string_view, std::string_view> latestName;
    for (const AppMinute* app : order) latestName[app->key] = app->name;

    struct AppFamily {
        const char* name;
        const char* unit;
        const char* help;
        std::optional<double> (*value)(const AppMinute&);
    };
    static const AppFamily appFamilies[] = {
        {"quillmere_app_cpu_usage_ratio", "ratio", "An app's CPU use, 1 per full core (a recorded minute's average).",
         [](const AppMinute& a) { return std::optional<double>(a.cpu / 100); }},
        {"quillmere_app_memory_bytes", "bytes", "An app's memory footprint (a recorded minute's peak).",
         [](const AppMinute& a) { return std::optional<double>(a.memory); }},
        // Energy is recorded as 0 when the app's power could not be measured: a minute
        // without energy has no power sample rather than a claimed 0 W.
        {"quillmere_app_power_watts", "watts", "An app's estimated power (a recorded minute's average).",
         [](const AppMinute& a) { return a.energy > 0 ? std::optional<double>(a.energy / 60) : std::nullopt; }},
        {"quillmere_app_disk_written_bytes_per_second", "",
         "Bytes an app writes to disk per second (a recorded minute's average).",
         [](const AppMinute& a) { return std::optional<double>(a.diskWrite); }},
    };
    for (const AppFamily& family : appFamilies) {
        w.family(family.name, M::gauge, family.unit, family.help);
        for (const AppMinute* app : order) {
            if (auto value = family.value(*app))
                w.sample({{"app", app->key}, {"name", latestName[app->key]}}, *value, app->ts);
            flushIfLarge();
        }
    }
    write(w.finish());
}

}  // namespace qm::metrics
