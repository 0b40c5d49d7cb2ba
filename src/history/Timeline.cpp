#include "history/Timeline.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "fmt/Fmt.h"
#include "history/HistoryStore.h"

namespace qm {
namespace {

struct RangeSpec {
    const char* title;
    int64_t span;
    int64_t bucket;
};

// Buckets are sized so every range draws at most 360 points.
RangeSpec spec(HistoryTimelineView::Range range) {
    switch (range) {
        case HistoryTimelineView::Range::hour: return {"1H", 3600, 60};
        case HistoryTimelineView::Range::day: return {"24H", 86400, 300};
        case HistoryTimelineView::Range::week: return {"7D", 604800, 1800};
        case HistoryTimelineView::Range::month: return {"30D", 2592000, 7200};
    }
    return {"24H", 86400, 300};
}

// The store groups by bucket start, so the oldest bucket may begin before the range
// and hold only its tail; it is left out, which keeps a range to span ÷ bucket points.
std::vector<SystemMinute> withinRange(std::vector<SystemMinute> rows, Date from) {
    auto first = std::find_if(rows.begin(), rows.end(),
                              [from](const SystemMinute& row) { return static_cast<Date>(row.ts) >= from; });
    rows.erase(rows.begin(), first);
    return rows;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

std::string HistoryTimelineView::title(Range range) { return spec(range).title; }
int64_t HistoryTimelineView::span(Range range) { return spec(range).span; }
int64_t HistoryTimelineView::bucket(Range range) { return spec(range).bucket; }

std::optional<HistoryTimelineView::Range> HistoryTimelineView::rangeFromTitle(std::string_view text) {
    for (Range range : allRanges)
        if (equalIgnoringCase(text, spec(range).title)) return range;
    return std::nullopt;
}

int64_t HistoryTimelineView::bucketStart(Date date, int64_t bucket) {
    int64_t b = std::max<int64_t>(bucket, 60);
    if (!std::isfinite(date)) return 0;
    // Whole seconds first (toward zero, like every stored ts), then down to the bucket.
    auto seconds = static_cast<int64_t>(std::clamp(date, -9.0e15, 9.0e15));
    int64_t q = seconds / b;
    if (seconds % b < 0) --q;
    return q * b;
}

std::pair<int64_t, int64_t> HistoryTimelineView::momentWindow(Date date, Range range) {
    int64_t at = bucketStart(date, bucket(range));
    return {at, at + bucket(range)};
}

bool HistoryTimelineView::contains(Range range, Date date, Date now) {
    return date >= now - static_cast<double>(span(range)) && date <= now;
}

HistoryTimelineView::HistoryTimelineView()
    : loadGeneration_(std::make_shared<int64_t>(0)), selectGeneration_(std::make_shared<int64_t>(0)) {}

void HistoryTimelineView::load(HistoryStore& store, Date now, const std::function<void()>& changed) {
    int64_t generation = ++*loadGeneration_;
    std::weak_ptr<int64_t> token = loadGeneration_;
    Date from = now - static_cast<double>(span(range));
    int bucketSeconds = static_cast<int>(bucket(range));
    // The events are asked for once the rows are in, so both land together and in order.
    store.systemMinutes(from, now, bucketSeconds,
                        [this, token, generation, &store, from, now, changed](std::vector<SystemMinute> found) {
        auto live = token.lock();
        if (!live || *live != generation) return;
        store.events(from, now,
                     [this, token, generation, found = std::move(found), from,
                      changed](std::vector<TimelineEvent> list) mutable {
            auto still = token.lock();
            if (!still || *still != generation) return;
            rows = withinRange(std::move(found), from);
            events = std::move(list);
            loaded = true;
            if (changed) changed();
        });
    });
}

void HistoryTimelineView::loadNow(HistoryStore& store, Date now) {
    ++*loadGeneration_;
    Date from = now - static_cast<double>(span(range));
    rows = withinRange(store.systemMinutesSync(from, now, static_cast<int>(bucket(range))), from);
    events = store.eventsSync(from, now);
    loaded = true;
}

void HistoryTimelineView::select(Date date, HistoryStore& store, const std::function<void()>& changed) {
    selected = date;
    int64_t generation = ++*selectGeneration_;
    std::weak_ptr<int64_t> token = selectGeneration_;
    auto [at, end] = momentWindow(date, range);
    store.topApps(at, end - at, [this, token, generation, changed](std::vector<AppMinute> apps) {
        auto live = token.lock();
        if (!live || *live != generation) return;
        atSelection = std::move(apps);
        if (changed) changed();
    });
}

void HistoryTimelineView::selectNow(Date date, HistoryStore& store) {
    ++*selectGeneration_;
    selected = date;
    auto [at, end] = momentWindow(date, range);
    atSelection = store.topAppsSync(at, end - at);
}

MomentPanel HistoryTimelineView::momentPanel() const {
    MomentPanel panel;
    panel.date = selected;
    if (!selected) return panel;
    panel.apps = atSelection;
    int64_t b = bucket(range);
    int64_t at = bucketStart(*selected, b);
    for (const SystemMinute& row : rows)
        if (row.ts == at) panel.row = row;
    // One bucket either side of the selected one.
    for (const TimelineEvent& event : events)
        if (event.date >= static_cast<double>(at - b) && event.date < static_cast<double>(at + 2 * b))
            panel.events.push_back(event);
    return panel;
}

std::string HistoryTimelineView::eventCount(size_t count) {
    return std::to_string(count) + (count == 1 ? " event" : " events");
}

std::string HistoryTimelineView::eventAge(Date date, Date now) { return Fmt::ago(date, now); }

}  // namespace qm
