// The one place where numbers become the short texts every screen, the menu-bar
// label and the notifications show. The same quantity reads the same everywhere.
//
// Every function returns a plain string and never fails: when a formatter yields
// nothing, a hand-built fallback text is used instead. The formatters behind these
// functions are created once, on first use, in the process's default locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Snapshot.h"  // Date

namespace qm {

struct Fmt {
    // The missing-value mark, used alone.
    static constexpr const char* absent = "\u2014";

    // A number with 0, 1 or 2 fraction digits (places are clamped), no grouping,
    // rounded half to even: number(2.5, 0) is "2".
    static std::string number(double value, int places);

    // 1024-based sizes labelled "B", "KB", "MB", "GB"; only gigabytes under ten
    // carry a decimal. The threshold uses the magnitude, the sign is kept.
    static std::string bytes(double bytes);

    // Bytes per second as "KB/s" or "MB/s"; under one kilobyte reads "0 KB/s".
    static std::string rate(double bytesPerSecond);

    // A share where 42 means 42 %. Small non-zero shares keep one decimal.
    static std::string percent(double value);
    static std::string percent(int value);
    // Whole-number overloads, so percent(85L) or an int64_t never turn ambiguous.
    static std::string percent(long value) { return percent(static_cast<int>(value)); }
    static std::string percent(long long value) { return percent(static_cast<int>(value)); }

    static std::string watts(std::optional<double> watts);
    static std::string energy(double joules);
    static std::string temp(std::optional<double> celsius);

    // A count of minutes: "45m", "2h 5m".
    static std::string minutes(int64_t minutes);
    // A span in seconds: "42m", "3h 7m", "2d 5h"; seconds are never shown.
    static std::string duration(double seconds);

    // "just now" under a minute (and for the future), otherwise "5 min. ago".
    static std::string ago(Date date);
    static std::string ago(Date date, Date now);

    // The shared date formatters: short time ("3:04 PM"), weekday-day-month-time
    // ("Tue, Jan 7, 3:04 PM") and relative time in short units ("5 min. ago").
    static std::string time(Date date);
    static std::string dayTime(Date date);
    static std::string relative(Date date, Date now);

    // Rebuilds the shared formatters for another locale (and optionally another
    // time zone, an Olson id such as "UTC"), so tests read fixed English output.
    // Pass nullptr to go back to the process's defaults.
    static void setLocaleForTesting(const char* locale, const char* timeZone = nullptr);
};

}  // namespace qm
