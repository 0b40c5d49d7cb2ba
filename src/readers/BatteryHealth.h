// The battery's maximum capacity as the operating system's own report states it.
// Producing the report is slow (seconds), so it never runs on the sampling path: a
// call returns the cached figure at once and, at most every six hours, starts a
// refresh in the background.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string_view>

namespace qm {

// The "sppower_battery_health_maximum_capacity" text ("87%") of the element of the
// "SPPowerDataType" array that holds "sppower_battery_health_info", as a number;
// absent for anything else (bad JSON, no battery, no percentage).
std::optional<double> parseBatteryHealthReport(std::string_view json);

class AppleBatteryHealth {
public:
    static constexpr double refreshPeriod = 21600;  // six hours, in seconds

    using Measure = std::function<std::optional<double>()>;         // slow, blocking
    using Launch = std::function<void(std::function<void()> job)>;  // runs a job in the background
    using Now = std::function<double()>;                            // seconds, any epoch

    AppleBatteryHealth(Measure measure, Launch launch, Now now);

    // The cached value (absent until the first refresh has finished). Starts a refresh
    // when none is running and more than six hours have passed since the last one
    // finished, or none has.
    std::optional<double> maximumCapacity();

private:
    void finish(std::optional<double> value);

    Measure measure_;
    Launch launch_;
    Now now_;
    std::mutex lock_;
    std::optional<double> value_;
    std::optional<double> lastRead_;
    bool inFlight_ = false;
};

}  // namespace qm
