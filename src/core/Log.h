// The few failures worth a log line print one line prefixed "Quillmere: ".
#pragma once

#include <functional>
#include <string>

namespace qm {

void logLine(const std::string& message);  // writes "Quillmere: <message>" to standard error

// Tests capture log lines instead of printing them; pass nullptr to restore stderr.
void setLogSink(std::function<void(const std::string& line)> sink);

}  // namespace qm
