#include "history/HistoryExport.h"

#include <charconv>
#include <optional>

#include "core/CsvField.h"
#include "core/SnapshotJson.h"

namespace qm {

namespace {

// The shortest plain decimal that reads back as the same double ("4000000000", not
// "4e+09", so every spreadsheet takes it as a number).
std::string number(double value) {
    char buffer[400];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
    return ec == std::errc() ? std::string(buffer, end) : std::string();
}

std::string number(const std::optional<double>& value) { return value ? number(*value) : ""; }

}  // namespace

std::string systemMinutesCSV(const std::vector<SystemMinute>& rows) {
    std::string out =
        "ts,cpu,mem_used,mem_total,pressure,plevel,swap,gpu,power,soc_temp,net_rx,net_tx,disk_r,"
        "disk_w,battery,on_battery,thermal\n";
    for (const SystemMinute& m : rows) {
        out += std::to_string(m.ts) + "," + number(m.cpu) + "," + number(m.memUsed) + "," + number(m.memTotal) + "," +
               number(m.pressure) + "," + std::to_string(m.pressureLevel) + "," + number(m.swap) + "," + number(m.gpu) +
               "," + number(m.power) + "," + number(m.socTemp) + "," + number(m.netRx) + "," + number(m.netTx) + "," +
               number(m.diskRead) + "," + number(m.diskWrite) + "," + number(m.battery) + "," +
               (m.onBattery ? "1" : "0") + "," + std::to_string(m.thermal) + "\n";
    }
    return out;
}

std::string appMinutesCSV(const std::vector<AppMinute>& rows) {
    std::string out = "ts,key,name,cpu,mem,energy,disk_w\n";
    for (const AppMinute& a : rows) {
        out += std::to_string(a.ts) + "," + csvField(a.key) + "," + csvField(a.name) + "," + number(a.cpu) + "," +
               number(a.memory) + "," + number(a.energy) + "," + number(a.diskWrite) + "\n";
    }
    return out;
}

std::string eventsCSV(const std::vector<TimelineEvent>& rows) {
    std::string out = "id,ts,kind,severity,title,detail,app_key,app_name\n";
    for (const TimelineEvent& e : rows) {
        out += std::to_string(e.id) + "," + std::to_string(static_cast<int64_t>(e.date)) + "," +
               std::string(rawValue(e.kind)) + "," + std::to_string(e.severity) + "," + csvField(e.title) + "," +
               csvField(e.detail) + "," + csvField(e.appKey.value_or("")) + "," + csvField(e.appName.value_or("")) +
               "\n";
    }
    return out;
}

nlohmann::json historyJSON(const std::vector<SystemMinute>& system, const std::vector<AppMinute>& apps,
                           const std::vector<TimelineEvent>& events) {
    return nlohmann::json{{"system", system}, {"apps", apps}, {"events", events}};
}

}  // namespace qm
