// Asks the privileged helper for exact figures of every process, with an enabled
// check refreshed every 20 seconds and a 30-second back-off after any failure.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/Clock.h"
#include "processes/HelperTransport.h"
#include "processes/RawProcRecord.h"

namespace qm {

class HelperClient {
public:
    static constexpr double enabledCacheLifetime = 20;  // seconds
    static constexpr double failureBackOff = 30;        // seconds

    HelperClient(std::unique_ptr<HelperTransport> transport, const Clock& clock);

    // One batch, or absent when the helper is disabled, backing off, failing or slow.
    std::optional<std::vector<RawProcRecord>> sample(double timeout);

private:
    void invalidate();

    std::unique_ptr<HelperTransport> transport_;
    const Clock& clock_;
    std::optional<double> lastFailure_;  // monotonic seconds
    struct EnabledAnswer {
        bool value = false;
        double at = 0;  // monotonic seconds
    };
    std::optional<EnabledAnswer> enabledCache_;
};

}  // namespace qm
