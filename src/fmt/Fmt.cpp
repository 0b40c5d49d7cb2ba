#include "fmt/Fmt.h"

#include <unicode/datefmt.h>
#include <unicode/dtptngen.h>
#include <unicode/listformatter.h>
#include <unicode/measunit.h>
#include <unicode/numberformatter.h>
#include <unicode/reldatefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <limits>
#include <memory>
#include <mutex>

namespace qm {
namespace {

using icu::number::LocalizedNumberFormatter;
using icu::number::NumberFormatter;
using icu::number::Precision;

constexpr double kKiB = 1024.0;
constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;

// The four byte unit names. ICU would say "kB"; the program labels its 1024-based
// sizes the way the Mac's memory-count style does, "KB", "MB", "GB", and bytes
// take "B" (the kilobyte name without its first letter when that name has two).
struct ByteUnits {
    std::string b, kb, mb, gb;
};

ByteUnits makeByteUnits() {
    ByteUnits units{"", "KB", "MB", "GB"};
    units.b = units.kb.size() == 2 ? units.kb.substr(1) : "B";
    return units;
}

std::string utf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

struct SpanFormat {
    std::optional<LocalizedNumberFormatter> larger;   // hours, or days
    std::optional<LocalizedNumberFormatter> smaller;  // minutes, or hours
};

// Everything built from one locale. Number formatters are immutable and safe to
// share between threads; ICU's date, measure and relative formatters are not, so
// calls into them go through `dateLock`.
struct Formatters {
    icu::Locale locale;
    std::array<std::optional<LocalizedNumberFormatter>, 3> decimals;
    std::array<std::optional<LocalizedNumberFormatter>, 2> percents;
    ByteUnits byteUnits;
    // Spans in narrow units ("45m", "2h 5m", "2d 5h"): each amount through its unit's
    // number formatter, joined the locale's way for unit lists. ICU's MeasureFormat
    // does the same for several units but some ten times slower per call.
    SpanFormat minutesOnly;
    SpanFormat hoursMinutes;
    SpanFormat daysHours;
    std::unique_ptr<icu::ListFormatter> unitList;
    std::unique_ptr<icu::DateFormat> time;
    std::unique_ptr<icu::DateFormat> dayTime;
    std::unique_ptr<icu::RelativeDateTimeFormatter> relative;
    std::mutex dateLock;
};

LocalizedNumberFormatter narrowUnit(const icu::Locale& locale, const icu::MeasureUnit& unit) {
    return NumberFormatter::withLocale(locale).unit(unit).unitWidth(UNUM_UNIT_WIDTH_NARROW);
}

std::shared_ptr<Formatters> makeFormatters(const icu::Locale& locale, const std::string& timeZone) {
    auto f = std::make_shared<Formatters>();
    f->locale = locale;
    auto base = NumberFormatter::withLocale(locale).grouping(UNUM_GROUPING_OFF);
    for (int places = 0; places < 3; ++places)
        f->decimals[places].emplace(base.precision(Precision::fixedFraction(places)));
    // The percent unit formats 42 as "42%": the value is already a percentage.
    for (int places = 0; places < 2; ++places)
        f->percents[places].emplace(
            base.unit(icu::MeasureUnit::getPercent()).precision(Precision::fixedFraction(places)));
    f->byteUnits = makeByteUnits();
    f->minutesOnly.smaller.emplace(narrowUnit(locale, icu::MeasureUnit::getMinute()));
    f->hoursMinutes.larger.emplace(narrowUnit(locale, icu::MeasureUnit::getHour()));
    f->hoursMinutes.smaller.emplace(narrowUnit(locale, icu::MeasureUnit::getMinute()));
    f->daysHours.larger.emplace(narrowUnit(locale, icu::MeasureUnit::getDay()));
    f->daysHours.smaller.emplace(narrowUnit(locale, icu::MeasureUnit::getHour()));

    UErrorCode status = U_ZERO_ERROR;
    f->unitList.reset(icu::ListFormatter::createInstance(locale, ULISTFMT_TYPE_UNITS, ULISTFMT_WIDTH_NARROW, status));
    if (U_FAILURE(status)) f->unitList.reset();

    status = U_ZERO_ERROR;
    f->time.reset(icu::DateFormat::createTimeInstance(icu::DateFormat::kShort, locale));

    std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    if (U_SUCCESS(status)) {
        icu::UnicodeString pattern = generator->getBestPattern(u"EEEdMMMjmm", status);
        if (U_SUCCESS(status)) {
            auto format = std::make_unique<icu::SimpleDateFormat>(pattern, locale, status);
            if (U_SUCCESS(status)) f->dayTime = std::move(format);
        }
    }
    if (!timeZone.empty()) {
        auto zone = icu::UnicodeString::fromUTF8(timeZone);
        if (f->time) f->time->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
        if (f->dayTime) f->dayTime->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
    }

    status = U_ZERO_ERROR;
    auto relative = std::make_unique<icu::RelativeDateTimeFormatter>(locale, nullptr, UDAT_STYLE_SHORT,
                                                                     UDISPCTX_CAPITALIZATION_NONE, status);
    if (U_SUCCESS(status)) f->relative = std::move(relative);
    return f;
}

struct SharedState {
    std::mutex lock;
    std::shared_ptr<Formatters> formatters;
    std::optional<std::string> localeOverride;
    std::string timeZoneOverride;
};

SharedState& state() {
    static SharedState shared;
    return shared;
}

// The formatters of the current locale, built on first use. Callers hold the
// returned pointer for the length of one call, so a test switching locales never
// pulls formatters out from under a running call.
std::shared_ptr<Formatters> formatters() {
    SharedState& s = state();
    std::lock_guard guard(s.lock);
    if (!s.formatters) {
        icu::Locale locale = s.localeOverride ? icu::Locale(s.localeOverride->c_str()) : icu::Locale::getDefault();
        s.formatters = makeFormatters(locale, s.timeZoneOverride);
    }
    return s.formatters;
}

std::optional<std::string> formatWith(const std::optional<LocalizedNumberFormatter>& formatter, double value) {
    if (!formatter) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString text = formatter->formatDouble(value, status).toString(status);
    if (U_FAILURE(status) || text.isEmpty()) return std::nullopt;
    return utf8(text);
}

std::string printfFixed(double value, int places) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", places < 0 ? 0 : places, value);
    return buffer;
}

// One span such as "45m" (the smaller unit alone) or "2h 5m" (both units).
std::optional<std::string> formatSpan(Formatters& f, const SpanFormat& span, std::optional<int64_t> larger,
                                      int64_t smaller) {
    UErrorCode status = U_ZERO_ERROR;
    auto amount = [&status](const std::optional<LocalizedNumberFormatter>& formatter, int64_t value) {
        icu::UnicodeString text;
        if (formatter) text = formatter->formatInt(value, status).toString(status);
        if (text.isEmpty()) status = U_INTERNAL_PROGRAM_ERROR;
        return text;
    };
    icu::UnicodeString text;
    if (!larger) {
        text = amount(span.smaller, smaller);
    } else {
        if (!f.unitList) return std::nullopt;
        icu::UnicodeString parts[2] = {amount(span.larger, *larger), amount(span.smaller, smaller)};
        if (U_FAILURE(status)) return std::nullopt;
        std::lock_guard guard(f.dateLock);
        f.unitList->format(parts, 2, text, status);
    }
    if (U_FAILURE(status) || text.isEmpty()) return std::nullopt;
    return utf8(text);
}

std::optional<std::string> formatDate(Formatters& f, icu::DateFormat* format, Date date) {
    if (!format || !std::isfinite(date)) return std::nullopt;
    icu::UnicodeString text;
    {
        std::lock_guard guard(f.dateLock);
        format->format(static_cast<UDate>(date * 1000.0), text);
    }
    if (text.isEmpty()) return std::nullopt;
    return utf8(text);
}

std::string strftimeFallback(Date date, const char* pattern) {
    if (!std::isfinite(date)) return Fmt::absent;
    std::time_t seconds = static_cast<std::time_t>(date);
    std::tm parts{};
    if (!localtime_r(&seconds, &parts)) return Fmt::absent;
    char buffer[64];
    if (std::strftime(buffer, sizeof buffer, pattern, &parts) == 0) return Fmt::absent;
    return buffer;
}

// A whole number of seconds that fits comfortably in 64 bits.
int64_t wholeSeconds(double seconds) {
    constexpr double limit = 9.0e15;
    if (seconds > limit) return static_cast<int64_t>(limit);
    if (seconds < -limit) return static_cast<int64_t>(-limit);
    return static_cast<int64_t>(seconds);  // truncates toward zero
}

// Fmt::number on formatters already in hand, so one call takes the shared lock once.
std::string numberIn(const Formatters& f, double value, int places) {
    int index = places < 0 ? 0 : (places > 2 ? 2 : places);
    if (auto text = formatWith(f.decimals[index], value)) return *text;
    return printfFixed(value, places);
}

}  // namespace

std::string Fmt::number(double value, int places) { return numberIn(*formatters(), value, places); }

std::string Fmt::bytes(double v) {
    auto f = formatters();
    const ByteUnits& u = f->byteUnits;
    double a = std::fabs(v);
    if (a >= kGiB) return numberIn(*f, v / kGiB, a < 10 * kGiB ? 1 : 0) + " " + u.gb;
    if (a >= kMiB) return numberIn(*f, v / kMiB, 0) + " " + u.mb;
    if (a >= kKiB) return numberIn(*f, v / kKiB, 0) + " " + u.kb;
    return numberIn(*f, v, 0) + " " + u.b;
}

std::string Fmt::rate(double v) {
    auto f = formatters();
    const ByteUnits& u = f->byteUnits;
    // Under a kilobyte per second reads as zero kilobytes, never as bytes per second.
    if (!(v >= kKiB)) return numberIn(*f, 0, 0) + " " + u.kb + "/s";
    if (v < kMiB) return numberIn(*f, v / kKiB, 0) + " " + u.kb + "/s";
    return numberIn(*f, v / kMiB, v < 100 * kMiB ? 1 : 0) + " " + u.mb + "/s";
}

std::string Fmt::percent(double v) {
    auto f = formatters();
    if (!(v > 0)) return formatWith(f->percents[0], 0).value_or("0%");
    if (v < 1) return formatWith(f->percents[1], v).value_or(printfFixed(v, 1) + "%");
    // Halves away from zero before the formatter, which would otherwise round to even.
    double whole = std::round(v);
    return formatWith(f->percents[0], whole).value_or(printfFixed(whole, 0) + "%");
}

std::string Fmt::percent(int v) {
    auto f = formatters();
    return formatWith(f->percents[0], v).value_or(std::to_string(v) + "%");
}

std::string Fmt::watts(std::optional<double> w) {
    if (!w || std::isnan(*w)) return absent;
    if (*w < 0.01) return number(0.0, 0) + " W";
    if (*w < 1) return number(*w * 1000, 0) + " mW";
    if (*w < 10) return number(*w, 1) + " W";
    return number(*w, 0) + " W";
}

std::string Fmt::energy(double joules) {
    double wh = joules / 3600.0;
    if (wh < 0.01) return number(wh * 1000, 0) + " mWh";
    if (wh < 10) return number(wh, 2) + " Wh";
    return number(wh, 1) + " Wh";
}

std::string Fmt::temp(std::optional<double> celsius) {
    // A non-finite reading is the caller's mistake; show it as missing rather than "NaN°".
    if (!celsius || !std::isfinite(*celsius)) return absent;
    return number(std::round(*celsius), 0) + "\u00B0";
}

std::string Fmt::minutes(int64_t m) {
    auto f = formatters();
    if (m < 60) {
        if (auto text = formatSpan(*f, f->minutesOnly, std::nullopt, m)) return *text;
        return std::to_string(m) + "m";
    }
    int64_t hours = m / 60, rest = m % 60;
    if (auto text = formatSpan(*f, f->hoursMinutes, hours, rest)) return *text;
    return std::to_string(hours) + "h " + std::to_string(rest) + "m";
}

std::string Fmt::duration(double seconds) {
    if (!std::isfinite(seconds)) return absent;
    auto f = formatters();
    int64_t s = wholeSeconds(seconds);
    int64_t days = s / 86400;
    int64_t hours = (s - days * 86400) / 3600;
    int64_t mins = (s % 3600) / 60;
    if (s < 3600) {
        if (auto text = formatSpan(*f, f->minutesOnly, std::nullopt, mins)) return *text;
        return std::to_string(mins) + "m";
    }
    if (s < 86400) {
        if (auto text = formatSpan(*f, f->hoursMinutes, hours, mins)) return *text;
        return std::to_string(hours) + "h " + std::to_string(mins) + "m";
    }
    if (auto text = formatSpan(*f, f->daysHours, days, hours)) return *text;
    return std::to_string(days) + "d " + std::to_string(hours) + "h";
}

std::string Fmt::ago(Date date) { return ago(date, static_cast<Date>(std::time(nullptr))); }

std::string Fmt::ago(Date date, Date now) {
    // Less than a minute ago, and anything in the future, reads the same.
    if (!(now - date >= 60)) return "just now";  // Relative time for an event less than a minute ago
    return relative(date, now);
}

std::string Fmt::relative(Date date, Date now) {
    double elapsed = now - date;
    if (!std::isfinite(elapsed)) return absent;
    // The largest whole unit that fits, as the platform's relative formatter does.
    int64_t seconds = wholeSeconds(std::fabs(elapsed));
    struct Step {
        int64_t size;
        URelativeDateTimeUnit unit;
        const char* fallbackName;
    };
    static constexpr Step steps[] = {
        {365 * 86400, UDAT_REL_UNIT_YEAR, "yr."}, {30 * 86400, UDAT_REL_UNIT_MONTH, "mo."},
        {7 * 86400, UDAT_REL_UNIT_WEEK, "wk."},   {86400, UDAT_REL_UNIT_DAY, "days"},
        {3600, UDAT_REL_UNIT_HOUR, "hr."},        {60, UDAT_REL_UNIT_MINUTE, "min."},
        {1, UDAT_REL_UNIT_SECOND, "sec."},
    };
    const Step* chosen = &steps[6];
    for (const Step& step : steps)
        if (seconds >= step.size) {
            chosen = &step;
            break;
        }
    int64_t amount = seconds / chosen->size;
    double offset = elapsed >= 0 ? -static_cast<double>(amount) : static_cast<double>(amount);

    auto f = formatters();
    if (f->relative) {
        UErrorCode status = U_ZERO_ERROR;
        icu::UnicodeString text;
        {
            std::lock_guard guard(f->dateLock);
            f->relative->formatNumeric(offset, chosen->unit, text, status);
        }
        if (U_SUCCESS(status) && !text.isEmpty()) return utf8(text);
    }
    std::string counted = std::to_string(amount) + " " + chosen->fallbackName;
    return elapsed >= 0 ? counted + " ago" : "in " + counted;
}

std::string Fmt::time(Date date) {
    auto f = formatters();
    if (auto text = formatDate(*f, f->time.get(), date)) return *text;
    return strftimeFallback(date, "%H:%M");
}

std::string Fmt::dayTime(Date date) {
    auto f = formatters();
    if (auto text = formatDate(*f, f->dayTime.get(), date)) return *text;
    return strftimeFallback(date, "%a, %b %e, %H:%M");
}

void Fmt::setLocaleForTesting(const char* locale, const char* timeZone) {
    SharedState& s = state();
    std::lock_guard guard(s.lock);
    s.localeOverride = locale ? std::optional<std::string>(locale) : std::nullopt;
    s.timeZoneOverride = timeZone ? timeZone : "";
    s.formatters.reset();
}

}  // namespace qm
