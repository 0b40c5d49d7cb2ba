#include "readers/BatteryHealth.h"

#include <nlohmann/json.hpp>

#include "core/FileRead.h"

namespace qm {

std::optional<double> parseBatteryHealthReport(std::string_view json) {
    auto report = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (!report.is_object()) return std::nullopt;
    auto types = report.find("SPPowerDataType");
    if (types == report.end() || !types->is_array()) return std::nullopt;
    for (const auto& element : *types) {
        if (!element.is_object()) continue;
        auto info = element.find("sppower_battery_health_info");
        if (info == element.end() || !info->is_object()) continue;
        auto capacity = info->find("sppower_battery_health_maximum_capacity");
        if (capacity == info->end() || !capacity->is_string()) return std::nullopt;
        std::string_view text = trim(capacity->get_ref<const std::string&>());
        if (text.empty() || text.back() != '%') return std::nullopt;
        text.remove_suffix(1);
        return parseDouble(text);
    }
    return std::nullopt;
}

AppleBatteryHealth::AppleBatteryHealth(Measure measure, Launch launch, Now now)
    : measure_(std::move(measure)), launch_(std::move(launch)), now_(std::move(now)) {}

std::optional<double> AppleBatteryHealth::maximumCapacity() {
    std::optional<double> cached;
    bool start = false;
    {
        std::lock_guard guard(lock_);
        cached = value_;
        if (!inFlight_ && (!lastRead_ || now_() - *lastRead_ > refreshPeriod)) {
            inFlight_ = true;
            start = true;
        }
    }
    // Launched outside the lock: a launcher that runs the job at once must not deadlock.
    if (start) launch_([this] { finish(measure_()); });
    return cached;
}

void AppleBatteryHealth::finish(std::optional<double> value) {
    std::lock_guard guard(lock_);
    value_ = value;
    lastRead_ = now_();
    inFlight_ = false;
}

}  // namespace qm
