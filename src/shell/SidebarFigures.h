// The live figure under each section's name in the window's sidebar: the CPU on the
// overview, processes on the apps, memory in use, the machine's power, the hottest
// sensor and the network's traffic. Absent when the machine does not report it.
#pragma once

#include <optional>
#include <string>

#include "core/Snapshot.h"
#include "knowledge/Section.h"

namespace qm {

std::optional<std::string> sidebarFigure(Section section, const Snapshot& snapshot);

}  // namespace qm
