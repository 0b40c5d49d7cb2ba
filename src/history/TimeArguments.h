// Every time argument of the command line reads the same way (events --since,
// timeline --at, history export --from/--to):
//   a span back from now    90m, 2h, 7d, 1w, 45s, also "2h ago" and -2h
//   a clock time            14:05, 14:05:30, "2:05 PM", 2:05pm, 2pm: the latest such
//                           moment, today or, when that is still to come, yesterday
//   a date, with a time     2026-11-20, "2026-11-20 14:05", 2026-11-20T14:05:30 (local),
//                           ISO 8601 with a zone: 2026-11-20T14:05:30Z, ...+01:00
//   now, or Unix seconds    1700000000
// Times print as "2:05 PM" with a narrow no-break space; that form reads back too.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/Snapshot.h"

namespace qm {

// The forms above in a few words, for every option's help and every refusal.
inline constexpr const char* timeArgumentForms =
    "2h (or \"2h ago\", -2h), 14:05, \"2:05 PM\", 2026-11-20, \"2026-11-20 14:05\" or ISO 8601";

// A positive whole number followed by s, m, h, d or w: seconds, or absent for anything
// else (no unit, zero, negative, fractions, spans beyond a hundred years).
std::optional<double> parseDuration(std::string_view text);

// A moment in any of the forms above, absent when the text is none of them.
std::optional<Date> parseTimePoint(std::string_view text, Date now);

// "--since takes 2h (or ...), not "yesterday"": the one-line refusal.
std::string timeArgumentRefusal(const std::string& option, const std::string& text);

}  // namespace qm
