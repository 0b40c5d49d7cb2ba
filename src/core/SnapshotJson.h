// JSON encoding of the snapshot records: field names as in the records, enumerations
// as their raw strings, the thermal state as its number, absent optionals as null.
#pragma once

#include <nlohmann/json.hpp>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

void to_json(nlohmann::json& j, const CPUStats& v);
void to_json(nlohmann::json& j, const MemoryStats& v);
void to_json(nlohmann::json& j, const NetworkStats& v);
void to_json(nlohmann::json& j, const DiskStats& v);
void to_json(nlohmann::json& j, const BatteryStats& v);
void to_json(nlohmann::json& j, const SensorReading& v);
void to_json(nlohmann::json& j, const FanReading& v);
void to_json(nlohmann::json& j, const ThermalStats& v);
void to_json(nlohmann::json& j, const SelfCost& v);
void to_json(nlohmann::json& j, const GPUDevice& v);
void to_json(nlohmann::json& j, const ProcessSample& v);
void to_json(nlohmann::json& j, const AppGroup& v);
void to_json(nlohmann::json& j, const TimelineEvent& v);
void to_json(nlohmann::json& j, const Snapshot& v);
void to_json(nlohmann::json& j, const SystemMinute& v);
void to_json(nlohmann::json& j, const AppMinute& v);
void to_json(nlohmann::json& j, const AppTotal& v);

// Decoding an event fails (throws nlohmann::json::exception) on an unknown kind.
void from_json(const nlohmann::json& j, TimelineEvent& v);

}  // namespace qm
