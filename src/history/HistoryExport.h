// History rows as CSV (one table per file, the database's column names as the header)
// and as JSON (the records' field names), for `quillmere history export` and `events`.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

std::string systemMinutesCSV(const std::vector<SystemMinute>& rows);
std::string appMinutesCSV(const std::vector<AppMinute>& rows);
std::string eventsCSV(const std::vector<TimelineEvent>& rows);

nlohmann::json historyJSON(const std::vector<SystemMinute>& system, const std::vector<AppMinute>& apps,
                           const std::vector<TimelineEvent>& events);

}  // namespace qm
