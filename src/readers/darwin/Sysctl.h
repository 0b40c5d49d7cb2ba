// Typed sysctl reads; each answers absent when the call fails.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Snapshot.h"

namespace qm::Sysctl {

std::optional<int64_t> integer(const char* name);
std::optional<std::string> string(const char* name);
// {CTL_KERN, KERN_BOOTTIME}: the seconds field as Unix time (microseconds ignored).
std::optional<Date> bootTime();

}  // namespace qm::Sysctl
