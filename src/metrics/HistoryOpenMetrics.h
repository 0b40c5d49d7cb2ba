// The minute history as OpenMetrics with time stamps, which
// `promtool tsdb create-blocks-from openmetrics` turns into Prometheus blocks: a year of
// recorded minutes becomes queryable next to the live scrape. The families carry the
// live exposition's names where the meaning is the same (a minute's average, or its
// peak for memory and swap), so one query spans both; the live series also carry the
// `job` and `instance` labels of the scrape, which imported ones do not.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "core/HistoryRecords.h"

namespace qm::metrics {

// Writes the rows family by family, each series in time order, handing the text to
// `write` in pieces of about a megabyte, and ends with "# EOF".
void writeHistoryOpenMetrics(const std::vector<SystemMinute>& system, const std::vector<AppMinute>& apps,
                             const std::function<void(std::string_view)>& write);

}  // namespace qm::metrics
