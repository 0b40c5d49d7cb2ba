// Every JSON and CSV writer with text chosen by the fuzzer in every string field: a
// process name, path or setting may hold any bytes, and the output must still be
// complete, valid UTF-8 that parses back.
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "FuzzInput.h"
#include "core/CsvField.h"
#include "core/JsonText.h"
#include "core/SnapshotJson.h"
#include "core/Utf8.h"
#include "history/HistoryExport.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void requireJson(const nlohmann::json& value) {
    const std::string text = qm::jsonText(value);
    require(qm::isValidUtf8(text));
    require(!nlohmann::json::parse(text, nullptr, false).is_discarded());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto parts = qm::fuzz::splitAtNul(qm::fuzz::asText(data, size));
    auto part = [&](size_t i) { return std::string(parts[i % parts.size()]); };

    const std::string cleaned = qm::validUtf8(part(0));
    require(qm::isValidUtf8(cleaned));
    require(qm::validUtf8(cleaned) == cleaned);
    require(qm::isValidUtf8(qm::csvField(part(0))));

    qm::Snapshot snapshot;
    qm::AppGroup group;
    group.id = "proc:" + part(0);
    group.name = part(1);
    group.bundlePath = part(2);
    qm::ProcessSample process;
    process.name = part(3);
    process.path = part(4);
    group.processes.push_back(process);
    snapshot.groups.push_back(group);
    qm::SensorReading sensor;
    sensor.name = part(5);
    snapshot.thermal.sensors.push_back(sensor);
    requireJson(snapshot);

    qm::AppMinute app{60, part(0), part(1), 1, 2, 3, 4};
    qm::TimelineEvent event;
    event.title = part(2);
    event.detail = part(3);
    event.appKey = part(4);
    event.appName = part(5);
    requireJson(qm::historyJSON({}, {app}, {event}));
    requireJson(nlohmann::json{{part(6), part(7)}});
    require(qm::isValidUtf8(qm::appMinutesCSV({app})));
    require(qm::isValidUtf8(qm::eventsCSV({event})));
    return 0;
}
