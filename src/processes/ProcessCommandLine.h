// A process's command line, read on demand: the apps table's filter, the explanation
// panel, the terminal view and the command line's `apps` and `explain` all show or
// search the same text.
#pragma once

#include <cstdint>
#include <string>

namespace qm {

// The process's arguments joined by spaces ("bash -c make -j2"); empty when they are
// unreadable (the process ended, a kernel thread, another user's process where the
// system hides it). Long command lines are cut at 4 KB, far beyond any row.
std::string processCommandLine(int32_t pid);

// The raw argument block (arguments separated by NULs) as one line: trailing NULs
// dropped, inner ones turned into spaces.
std::string joinedArguments(std::string raw);

}  // namespace qm
