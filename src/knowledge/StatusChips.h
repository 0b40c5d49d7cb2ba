// The row of facts under the status line: processes and the apps they form, installed
// memory, time since start, the processor and the system.
#pragma once

#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

struct StatusChip {
    std::string symbol;  // system symbol name: "square.stack.3d.up", "memorychip", ...
    std::string text;
    bool operator==(const StatusChip&) const = default;
};

// Installed memory in whole gigabytes, rounded to the nearest (the kernel keeps a
// little for itself, so 15.6 GB visible reads as the 16 GB installed).
int64_t wholeGigabytes(uint64_t bytes);

// "412 processes → 37 apps", "16 GB memory", "Up 3h 7m", then the chip and system
// names when known (empty names are left out). `installedMemory` 0 falls back to the
// snapshot's memory total.
std::vector<StatusChip> statusChips(const Snapshot& snapshot, uint64_t installedMemory, const std::string& chipName,
                                    const std::string& systemName);

}  // namespace qm
