// Carrying out what the user confirmed in the terminal view: a quit, a forced quit,
// stop, continue or a priority change, sent only to the chosen processes that are
// still the ones the user saw (same start time, same owner) and are theirs, with one
// line saying what happened. The checking and sending are ProcessActions', the same
// as the desktop app's and the notifications'.
#pragma once

#include <string>

#include "cli/LiveState.h"
#include "processes/ProcessActions.h"

namespace qm::cli::live {

// Carries out the confirmation's chosen targets through `actions`, without waiting
// for anything to end (the view never blocks), and says what happened in one line.
std::string carryOutConfirmation(const ProcessActions& actions, const Confirmation& confirmation);

// "Asked 1 process to quit.", with what was skipped and why.
struct ActionTally {
    int done = 0;
    int gone = 0;         // ended, or its pid now belongs to another process
    int notOwn = 0;       // another user's
    int refused = 0;      // the system said no
    std::string refusal;  // the system's reason for the first refusal
};
std::string actionReport(Action action, const ActionTally& tally);

}  // namespace qm::cli::live
