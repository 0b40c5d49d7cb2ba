// Carrying out what the user confirmed in the terminal view: a quit, a forced quit,
// stop, continue or a priority change, sent only to the chosen processes that are
// still the ones the user saw (same start time, same owner) and are theirs, with one
// line saying what happened. The sending is behind this seam so the view is tested
// without signalling anything.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cli/LiveState.h"

namespace qm::cli::live {

class ProcessActions {
public:
    virtual ~ProcessActions() = default;
    // The identity of a running process to check before each signal (its start time);
    // absent when it is not running.
    virtual std::optional<uint64_t> identity(int32_t pid) = 0;
    // Carries out the confirmation's chosen targets; `identities` are what identity()
    // said when the user chose, in the order of the targets.
    virtual std::string carryOut(const Confirmation& confirmation,
                                 const std::vector<std::optional<uint64_t>>& identities) = 0;
};

// The real signals and priorities of this machine, for this user.
std::unique_ptr<ProcessActions> systemActions();

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
