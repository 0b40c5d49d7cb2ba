// Whether the wall clock can be believed. The recorder stamps every stored minute
// with it, so a clock set 40 days ahead would stamp 40 days of future history and a
// later prune, counting from those stamps, would delete a month of real rows.
//
// The judge is the continuous clock (it counts while the machine sleeps and nobody
// can set it): from the last reading both clocks agreed on (the anchor), the wall
// clock must have moved as far as the continuous one, within a tolerance. When it did
// not, the wall clock jumped: nothing is stamped from it until it agrees again, or
// until time synchronisation vouches for the new time. The anchor is kept with the
// history, so a restart in the same boot still measures from it; after a reboot the
// continuous clock starts again and the first reading becomes the anchor.
#pragma once

#include <optional>
#include <string>

#include "core/Clock.h"

namespace qm {

// One reading both clocks agreed on.
struct ClockAnchor {
    std::string boot;
    double wall = 0;
    double continuous = 0;
    bool operator==(const ClockAnchor&) const = default;
};

class ClockTrust {
public:
    // How far the two clocks may drift apart between readings: a slow tick, NTP
    // slewing, the seconds a restart takes.
    static constexpr double tolerance = 90;

    explicit ClockTrust(const Clock& clock) : clock_(clock) {}

    // An anchor kept from an earlier run; used only when it comes from this boot.
    void restore(const std::optional<ClockAnchor>& saved);

    // Reads both clocks and says whether the wall clock is to be believed now. Logs one
    // line when trust is lost and one when it comes back.
    bool check();

    bool trusted() const { return trusted_; }
    // The wall time now as the anchor and the continuous clock tell it (the wall clock
    // itself while it is trusted).
    Date trustedNow() const;
    const std::optional<ClockAnchor>& anchor() const { return anchor_; }

private:
    ClockAnchor reading() const;

    const Clock& clock_;
    std::optional<ClockAnchor> anchor_;
    bool trusted_ = true;
};

}  // namespace qm
