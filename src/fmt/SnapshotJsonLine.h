// A snapshot as one line of JSON, written straight to text. `quillmere sample --json`
// prints one per tick; building a JSON tree for it first cost a node and an allocation
// per field, thousands per tick on a busy machine. The document is the one the tree
// gives (core/SnapshotJson.h, keys in the same sorted order, absent values as null,
// reworded for this platform as printJson does), so readers see no difference.
#pragma once

#include <string>

#include "core/Snapshot.h"

namespace qm {

// Appends the snapshot's JSON object, without a newline, to `out`.
void appendSnapshotJson(std::string& out, const Snapshot& snapshot);

}  // namespace qm
