// The timeline screen's model: the recorded minutes of a chosen range gathered into
// buckets, the events of that range, and, for the moment the user points at, the
// busiest apps of that bucket with the bucket's figures and the events around it.
// Everything comes from the history store; nothing here draws.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/HistoryRecords.h"
#include "core/Snapshot.h"

namespace qm {

class HistoryStore;

// What the moment panel is given: the date pointed at, the busiest apps of its
// bucket, the bucket's row when one was recorded, and the events around it.
struct MomentPanel {
    std::optional<Date> date;
    std::vector<AppMinute> apps;
    std::optional<SystemMinute> row;
    std::vector<TimelineEvent> events;
};

class HistoryTimelineView {
public:
    // In picker order.
    enum class Range { hour, day, week, month };
    static constexpr std::array<Range, 4> allRanges{Range::hour, Range::day, Range::week, Range::month};

    // "1H", "24H", "7D", "30D".
    static std::string title(Range range);
    // How far back the range reaches and how wide one bucket is, in seconds.
    static int64_t span(Range range);
    static int64_t bucket(Range range);
    // The range whose title matches, ignoring case ("24h" is the day); absent otherwise.
    static std::optional<Range> rangeFromTitle(std::string_view text);

    // The start of the bucket holding `date`: Unix seconds rounded down to a whole
    // number of buckets. A bucket of less than a minute counts as a minute, as the
    // store's bucketing does.
    static int64_t bucketStart(Date date, int64_t bucket);
    // The app rows that make up the moment at `date`: [start, end) of its bucket.
    static std::pair<int64_t, int64_t> momentWindow(Date date, Range range);
    // Whether `date` falls in the range as loaded at `now`: [now - span, now].
    static bool contains(Range range, Date date, Date now);

    // State, read by the screen.
    Range range = Range::day;
    std::vector<SystemMinute> rows;      // one per bucket, oldest first
    std::vector<TimelineEvent> events;   // newest first, at most 500
    std::optional<Date> selected;        // the moment pointed at
    std::vector<AppMinute> atSelection;  // the busiest apps of the selected bucket
    bool loaded = false;

    HistoryTimelineView();

    // Loads the range ending at `now`: bucketed rows, then the range's events. The
    // asynchronous form calls `changed` on the store's completion queue once both
    // are in; a load overtaken by a newer one (the range changed meanwhile) is dropped.
    void load(HistoryStore& store, Date now, const std::function<void()>& changed);
    void loadNow(HistoryStore& store, Date now);

    // Points at a moment: remembers the date and asks for the busiest apps of its bucket.
    void select(Date date, HistoryStore& store, const std::function<void()>& changed);
    void selectNow(Date date, HistoryStore& store);

    // What the moment panel shows for the current selection: the row whose ts is the
    // selected bucket's start, and the loaded events within one bucket either side of it.
    MomentPanel momentPanel() const;

    // Fixed texts of the screen.
    static constexpr const char* emptyTitle = "Recording has started";
    static constexpr const char* emptySymbol = "clock.badge.checkmark";
    static constexpr const char* emptyText =
        "Quillmere saves a tiny summary every minute (a few MB a day). Come back in a few minutes to scrub "
        "through your Mac's history.";
    static constexpr const char* headerHint = "Quillmere remembers. Hover any moment to see what your Mac was doing.";
    static constexpr const char* momentPrompt =
        "Point at any moment to see which apps were busiest, how hot your Mac was and what happened.";
    static constexpr const char* noAppData = "No app data for this moment.";
    static constexpr const char* noEvents =
        "No notable events. Runaway apps, heat, memory pressure and Spotlight indexing appear here "
        "automatically.";

    // "1 event", "12 events" (read out as the number of events in the selected range).
    static std::string eventCount(size_t count);
    // How long ago an event happened: "just now" under a minute, then the shared
    // relative-time text ("5 min. ago").
    static std::string eventAge(Date date, Date now);

private:
    // Bumped by every load and selection, so a late answer to an older request is ignored.
    std::shared_ptr<int64_t> loadGeneration_;
    std::shared_ptr<int64_t> selectGeneration_;
};

}  // namespace qm
