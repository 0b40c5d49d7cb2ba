// The time arguments of the history commands: spans such as "30m", "2h", "7d" and
// points in time given as a span back from now, a date, or Unix seconds.
#pragma once

#include <optional>
#include <string_view>

#include "core/Snapshot.h"

namespace qm {

// A positive whole number followed by s, m, h, d or w: seconds, or absent for anything
// else (no unit, zero, negative, fractions, spans beyond a hundred years).
std::optional<double> parseDuration(std::string_view text);

// "now"; a span back from `now` ("7d"); Unix seconds ("1700000000"); or a local date
// and time "YYYY-MM-DD", "YYYY-MM-DD HH:MM", "YYYY-MM-DDTHH:MM[:SS]". Absent when invalid.
std::optional<Date> parseTimePoint(std::string_view text, Date now);

}  // namespace qm
