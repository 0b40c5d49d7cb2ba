// The /metrics page: one frame in the Prometheus text format or in OpenMetrics. Names
// carry their unit ("_bytes", "_ratio", "_celsius", "_watts", "_seconds"); ratios are
// 0 to 1 (an app's CPU ratio is 1 per full core); every family has a help text; a
// figure that was not measured has no series at all, never a 0.
#pragma once

#include <string>

#include "metrics/ExpositionWriter.h"
#include "metrics/MetricsFrame.h"

namespace qm::metrics {

std::string renderExposition(const MetricsFrame& frame, ExpositionFormat format);

// "information", "warning", "serious": the severity label of the events counter.
const char* severityLabel(size_t severity);

}  // namespace qm::metrics
