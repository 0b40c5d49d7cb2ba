#include "core/Log.h"

#include "core/TerminalText.h"

#include <cstdio>
#include <mutex>

namespace qm {

namespace {
std::mutex sinkLock;
std::function<void(const std::string&)>& sink() {
    static std::function<void(const std::string&)> value;
    return value;
}
}  // namespace

void logLine(const std::string& message) {
    const std::string line = "Quillmere: " + terminalSafe(message);
    std::lock_guard guard(sinkLock);
    if (sink()) {
        sink()(line);
        return;
    }
    std::fprintf(stderr, "%s\n", line.c_str());
}

void setLogSink(std::function<void(const std::string& line)> newSink) {
    std::lock_guard guard(sinkLock);
    sink() = std::move(newSink);
}

}  // namespace qm
