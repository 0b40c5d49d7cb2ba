#include "core/ClockTrust.h"

#include <cmath>
#include <cstdint>

#include "core/Log.h"

namespace qm {

namespace {

// "40 days", "3 hours", "12 minutes", "50 seconds": how far the clock jumped.
std::string roughly(double seconds) {
    const double s = std::fabs(seconds);
    const auto whole = [](double value, const char* unit) {
        const auto n = static_cast<int64_t>(std::llround(value));
        return std::to_string(n) + " " + unit + (n == 1 ? "" : "s");
    };
    if (s >= 2 * 86400.0) return whole(s / 86400, "day");
    if (s >= 2 * 3600.0) return whole(s / 3600, "hour");
    if (s >= 120) return whole(s / 60, "minute");
    return whole(s, "second");
}

}  // namespace

ClockAnchor ClockTrust::reading() const { return {clock_.bootId(), clock_.now(), clock_.continuous()}; }

void ClockTrust::restore(const std::optional<ClockAnchor>& saved) {
    if (!saved || saved->boot.empty()) return;
    const ClockAnchor now = reading();
    // Another boot's continuous clock counts from another start: nothing to compare.
    if (saved->boot != now.boot || saved->continuous > now.continuous) return;
    anchor_ = saved;
}

bool ClockTrust::check() {
    const ClockAnchor now = reading();
    if (!anchor_) {
        anchor_ = now;
        trusted_ = true;
        return true;
    }
    const double expected = anchor_->wall + (now.continuous - anchor_->continuous);
    const double jump = now.wall - expected;
    if (std::fabs(jump) <= tolerance) {
        if (!trusted_) logLine("the clock agrees with the machine's running time again; recording goes on");
        trusted_ = true;
        anchor_ = now;  // follows the small corrections NTP makes
        return true;
    }
    if (clock_.synchronized()) {
        // Time synchronisation set this time: it corrects a clock that was wrong before.
        logLine("time synchronisation moved the clock " + std::string(jump > 0 ? "ahead" : "back") + " by " +
                roughly(jump) + "; recording goes on from the new time");
        trusted_ = true;
        anchor_ = now;
        return true;
    }
    if (trusted_)
        logLine("the clock jumped " + std::string(jump > 0 ? "ahead" : "back") + " by " + roughly(jump) +
                " without time synchronisation; no minute is recorded until it agrees with the machine's running "
                "time again or time synchronisation confirms it");
    trusted_ = false;
    return false;
}

Date ClockTrust::trustedNow() const {
    if (!anchor_) return clock_.now();
    return anchor_->wall + (clock_.continuous() - anchor_->continuous);
}

}  // namespace qm
