// A helper daemon that tests switch on, off, mute or feed.
#pragma once

#include "processes/HelperTransport.h"

namespace qm::test {

class FakeHelperTransport : public HelperTransport {
public:
    bool enabled = true;
    std::optional<std::vector<uint8_t>> reply;  // absent: no answer in time
    int enabledChecks = 0, requests = 0, invalidations = 0;
    bool lost = false;

    bool isEnabled() override {
        ++enabledChecks;
        return enabled;
    }
    std::optional<std::vector<uint8_t>> request(double) override {
        ++requests;
        return reply;
    }
    void invalidate() override { ++invalidations; }
    bool takeConnectionLost() override { return std::exchange(lost, false); }
};

}  // namespace qm::test
