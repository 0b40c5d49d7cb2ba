// The connection to the privileged helper daemon, as the portable client sees it.
// On macOS it is an XPC connection to "app.quillmere.helper"; Linux has no helper.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace qm {

class HelperTransport {
public:
    virtual ~HelperTransport() = default;
    // Whether the daemon is registered and enabled with the system (may be slow-ish).
    virtual bool isEnabled() = 0;
    // Asks for one batch of packed records, waiting at most `timeout` seconds.
    // Absent on any error, interruption or time-out.
    virtual std::optional<std::vector<uint8_t>> request(double timeout) = 0;
    // Drops the connection so that the next request builds a new one.
    virtual void invalidate() = 0;
    // True once after the connection broke outside a request (interrupted or
    // invalidated by the system), so the client can start its back-off.
    virtual bool takeConnectionLost() { return false; }
};

// The transport of a machine without a helper: never enabled.
class NoHelperTransport : public HelperTransport {
public:
    bool isEnabled() override { return false; }
    std::optional<std::vector<uint8_t>> request(double) override { return std::nullopt; }
    void invalidate() override {}
};

}  // namespace qm
