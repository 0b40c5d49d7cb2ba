// Collects log lines for the duration of a test instead of printing them.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "core/Log.h"

namespace qm::testing {

class LogCapture {
public:
    LogCapture() {
        setLogSink([this](const std::string& line) {
            std::lock_guard guard(lock_);
            lines_.push_back(line);
        });
    }
    ~LogCapture() { setLogSink(nullptr); }

    std::vector<std::string> lines() const {
        std::lock_guard guard(lock_);
        return lines_;
    }

private:
    mutable std::mutex lock_;
    std::vector<std::string> lines_;
};

}  // namespace qm::testing
