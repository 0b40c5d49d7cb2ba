// How a process gets its display name, and the small text rules around it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qm {

// True for names such as "2.1.4" or "1_0-3": tools installed as version-numbered executables.
bool looksLikeVersion(std::string_view name);

// The last non-empty component of a slash-separated path ("" for "" or "/").
std::string lastPathComponent(std::string_view path);

// A better name for a version-named executable: the argument area's executable name
// when that is not itself a version, else the tool directory above ".../versions/<v>".
std::optional<std::string> friendlyName(const std::optional<std::string>& argumentExecutable, std::string_view path);

// The display name from path and command name, before any friendly-name lookup:
// the path's last component, else the command name, else "Process <pid>".
std::string baseProcessName(int32_t pid, std::string_view path, std::string_view comm);

// ps's cumulative CPU time ("[[dd-]hh:]mm:ss.ss") in seconds; unparsable parts count 0.
double parseCPUTime(std::string_view text);

}  // namespace qm
