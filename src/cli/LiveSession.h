// The terminal view's loop: samples live, hands each snapshot to the view, answers
// keys and the mouse, carries out confirmed actions, reads recorded minutes of
// history, and remembers the person's choices (sort, mode, period, mouse, theme).
#pragma once

#include <optional>

namespace qm::cli {

class LiveView;

// Runs until the person leaves; `interval` (from --interval) sets the period for this
// run instead of the remembered one.
void runLiveSession(LiveView& view, std::optional<double> interval);

}  // namespace qm::cli
