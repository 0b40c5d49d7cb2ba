// The human form of a snapshot for the terminal: one screen a snapshot, every
// figure through Fmt.
#pragma once

#include <string>

#include "core/Snapshot.h"

namespace qm::cli {

std::string describeSnapshot(const Snapshot& snapshot);

}  // namespace qm::cli
