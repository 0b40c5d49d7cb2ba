// What the recorder remembers about time between runs, in "<database>.clock" beside
// the history: the last clock reading it trusted, so that a restart in the same boot
// can tell that the clock jumped while it was not running.
#pragma once

#include <optional>
#include <string>

#include "core/ClockTrust.h"

namespace qm {

std::string clockFilePath(const std::string& databasePath);

// A missing or unreadable file reads as nothing remembered.
std::optional<ClockAnchor> readClockAnchor(const std::string& databasePath);

// Replaces the file in one rename, never through a symlink; false when it could not.
bool writeClockAnchor(const std::string& databasePath, const ClockAnchor& anchor);

}  // namespace qm
