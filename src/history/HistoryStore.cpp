#include "history/HistoryStore.h"

#include <algorithm>
#include <type_traits>

#include "core/Log.h"
#include "fmt/Fmt.h"
#include "history/HistoryFiles.h"

namespace qm {

HistoryStore::HistoryStore(std::string path, SerialQueue* completionQueue, const Clock& clock)
    : path_(std::move(path)),
      clock_(clock),
      completionQueue_(completionQueue),
      queue_(makeThreadQueue("app.quillmere.history")) {
    queue_->sync([this] {
        db_ = std::make_unique<HistoryDatabase>(path_, wholeSeconds(clock_.now()));
        clockAnchor_ = readClockAnchor(path_);
    });
}

HistoryStore::~HistoryStore() {
    queue_->sync([this] {
        writePending();
        if (!pending_.empty())
            logLine(std::to_string(pending_.size()) + " minutes and events could not be saved to " + path_);
        db_.reset();
    });
    queue_.reset();
    if (readerQueue_) readerQueue_->sync([this] { reader_.reset(); });
    readerQueue_.reset();
}

HistoryStore& HistoryStore::shared() {
    // Deliberately leaked: the queue's thread must outlive every static destructor
    // that might still write to it.
    static HistoryStore* store = new HistoryStore(defaultHistoryPath());
    return *store;
}

bool HistoryStore::isOpen() {
    bool open = false;
    queue_->sync([&] { open = db_->isOpen(); });
    return open;
}

std::string HistoryStore::error() {
    std::string text;
    queue_->sync([&] { text = db_->error(); });
    return text;
}

size_t HistoryStore::unsavedCount() {
    size_t count = 0;
    queue_->sync([&] {
        writePending();
        count = pending_.size();
    });
    return count;
}

void HistoryStore::write(const SystemMinute& minute, const std::vector<AppMinute>& apps) {
    queue_->post([this, minute, apps] {
        // A clock set back must not write over minutes already stored: until it passes
        // the newest one again, a minute that is already there is left as it is.
        auto newest = db_->newestMinute();
        bool stored = db_->hasMinute(minute.ts);
        for (const PendingWrite& waiting : pending_) {
            if (const auto* m = std::get_if<PendingMinute>(&waiting)) {
                newest = std::max(newest.value_or(m->minute.ts), m->minute.ts);
                stored = stored || m->minute.ts == minute.ts;
            }
        }
        // The newest minute is written again by a recorder restarted within it, with
        // the stored part merged in.
        if (stored && minute.ts != newest) {
            if (!holdingBack_)
                logLine("the clock is behind the newest recorded minute (" +
                        Fmt::dayTime(static_cast<Date>(newest.value_or(minute.ts))) +
                        "); minutes already recorded are not written over until it passes it");
            holdingBack_ = true;
            return;
        }
        if (holdingBack_ && newest && minute.ts > *newest) {
            logLine("the clock has passed the newest recorded minute; recording goes on as before");
            holdingBack_ = false;
        }
        // Once a minute, before writing into it, the recorder makes sure its file is
        // still sound.
        constexpr double checkEvery = 55;
        const double now = clock_.monotonic();
        if (!lastHealthCheck_ || now - *lastHealthCheck_ >= checkEvery) {
            lastHealthCheck_ = now;
            db_->checkWhileRecording();
        }
        enqueue(PendingMinute{minute, apps});
    });
}

void HistoryStore::write(const TimelineEvent& event) {
    queue_->post([this, event] { enqueue(event); });
}

void HistoryStore::enqueue(PendingWrite write) {
    // At most an hour of minutes (and the events among them) waits; the oldest go first.
    constexpr long limit = 60;
    pending_.push_back(std::move(write));
    const auto isMinute = [](const PendingWrite& w) { return std::holds_alternative<PendingMinute>(w); };
    if (std::count_if(pending_.begin(), pending_.end(), isMinute) > limit) {
        do {
            pending_.pop_front();
        } while (!pending_.empty() && !isMinute(pending_.front()));
        logLine("the history database " + path_ + " has taken no write for an hour; the oldest waiting minute is lost");
    }
    writePending();
}

void HistoryStore::writePending() {
    while (!pending_.empty()) {
        const bool stored = std::visit(
            [this](const auto& item) {
            if constexpr (std::is_same_v<std::decay_t<decltype(item)>, PendingMinute>)
                return db_->write(item.minute, item.apps);
            else
                return db_->write(item);
            },
            pending_.front());
        if (!stored) return;
        pending_.pop_front();
    }
}

void HistoryStore::prune(int64_t now) {
    queue_->post([this, now] {
        writePending();
        // Stored minutes come from a clock the recorder trusted: retention never counts
        // from past the newest of them, whatever `now` says.
        int64_t from = now;
        if (auto newest = db_->newestMinute()) from = std::min(from, *newest + 60);
        db_->prune(from);
    });
}

std::optional<StoredMinute> HistoryStore::storedMinute(int64_t ts) {
    std::optional<StoredMinute> found;
    queue_->sync([&] {
        auto rows = db_->systemMinutes(ts, ts, 60);
        if (rows.empty()) return;
        found = StoredMinute{rows.front(), db_->appMinutes(ts, ts)};
    });
    return found;
}

std::optional<ClockAnchor> HistoryStore::rememberedClock() {
    std::optional<ClockAnchor> anchor;
    queue_->sync([&] { anchor = clockAnchor_; });
    return anchor;
}

void HistoryStore::rememberClock(const ClockAnchor& anchor) {
    queue_->post([this, anchor] {
        clockAnchor_ = anchor;
        writeClockAnchor(path_, anchor);
    });
}

void HistoryStore::eraseAll() {
    queue_->post([this] { db_->eraseAll(); });
}

bool HistoryStore::eraseAllNow() {
    bool erased = false;
    queue_->sync([&] { erased = db_->eraseAll(); });
    return erased;
}

void HistoryStore::waitUntilIdle() {
    queue_->sync([this] { writePending(); });
}

uint64_t HistoryStore::fileSize() const { return fileBytes(path_) + fileBytes(path_ + "-wal"); }

void HistoryStore::deliver(std::function<void()> work) {
    if (SerialQueue* target = completionQueue_.load())
        target->post(std::move(work));
    else
        work();
}

template <typename Result>
void HistoryStore::answer(std::function<Result(HistoryDatabase&)> query, std::function<void(Result)> completion) {
    queue_->post([this, query = std::move(query), completion = std::move(completion)]() mutable {
        Result result = query(*db_);
        if (!completion) return;
        deliver([completion = std::move(completion), result = std::move(result)]() mutable {
            completion(std::move(result));
        });
    });
}

template <typename Result>
Result HistoryStore::answerNow(std::function<Result(HistoryDatabase&)> query) {
    Result result{};
    queue_->sync([&] { result = query(*db_); });
    return result;
}

bool HistoryStore::readerAvailable() {
    if (!readerQueue_) readerQueue_ = makeThreadQueue("app.quillmere.history.reader");
    bool open = false;
    readerQueue_->sync([&] {
        if (!reader_) reader_ = std::make_unique<HistoryReadConnection>(path_);
        open = reader_->isOpen();
    });
    return open;
}

std::vector<SystemMinute> HistoryStore::readSystemMinutes(int64_t from, int64_t to, int bucket) {
    // Ranges of more than a week (the 7- and 30-day timelines) are worth a second
    // core: the statement spends its time averaging every minute and sorting them
    // into buckets. The split falls on a bucket boundary, so every bucket is read
    // whole by one half; results are the same as one read's.
    constexpr int64_t splitAbove = 7 * 86400;
    if (from < 0 || to - from <= splitAbove || !db_->isOpen()) return db_->systemMinutes(from, to, bucket);
    const int64_t b = std::max(bucket, 60);
    const int64_t middle = (from + (to - from) / 2) / b * b;
    if (middle <= from || !readerAvailable()) return db_->systemMinutes(from, to, bucket);

    std::vector<SystemMinute> later;
    readerQueue_->post([&] { later = reader_->systemMinutes(middle, to, bucket); });
    std::vector<SystemMinute> rows = db_->systemMinutes(from, middle - 1, bucket);
    readerQueue_->sync([] {});  // the later half is done
    rows.insert(rows.end(), later.begin(), later.end());
    return rows;
}

void HistoryStore::systemMinutes(Date from, Date to, int bucket,
                                 std::function<void(std::vector<SystemMinute>)> completion) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    answer<std::vector<SystemMinute>>([=, this](HistoryDatabase&) { return readSystemMinutes(f, t, bucket); },
                                      std::move(completion));
}

void HistoryStore::events(Date from, Date to, std::function<void(std::vector<TimelineEvent>)> completion) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    answer<std::vector<TimelineEvent>>([=](HistoryDatabase& db) { return db.events(f, t); }, std::move(completion));
}

void HistoryStore::topApps(int64_t at, int64_t window, std::function<void(std::vector<AppMinute>)> completion) {
    answer<std::vector<AppMinute>>([=](HistoryDatabase& db) { return db.topApps(at, window); }, std::move(completion));
}

void HistoryStore::appTotals(Date from, Date to, bool onlyOnBattery, int limit,
                             std::function<void(std::vector<AppTotal>)> completion) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    answer<std::vector<AppTotal>>([=](HistoryDatabase& db) { return db.appTotals(f, t, onlyOnBattery, limit); },
                                  std::move(completion));
}

void HistoryStore::memoryProfile(int days, std::function<void(int64_t, double, double, double)> completion) {
    int64_t cut = wholeSeconds(clock_.now()) - static_cast<int64_t>(days) * 86400;
    std::function<void(MemoryProfile)> unpack;
    if (completion)
        unpack = [completion = std::move(completion)](MemoryProfile p) {
            completion(p.minutes, p.pressuredFraction, p.peakSwap, p.peakUsed);
        };
    answer<MemoryProfile>([=](HistoryDatabase& db) { return db.memoryProfile(cut); }, std::move(unpack));
}

void HistoryStore::lastUnplugged(std::function<void(std::optional<Date>)> completion) {
    answer<std::optional<Date>>([](HistoryDatabase& db) { return db.lastUnplugged(); }, std::move(completion));
}

std::vector<SystemMinute> HistoryStore::systemMinutesSync(Date from, Date to, int bucket) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    return answerNow<std::vector<SystemMinute>>(
        [=, this](HistoryDatabase&) { return readSystemMinutes(f, t, bucket); });
}

std::vector<TimelineEvent> HistoryStore::eventsSync(Date from, Date to, int limit) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    return answerNow<std::vector<TimelineEvent>>([=](HistoryDatabase& db) { return db.events(f, t, limit); });
}

std::vector<AppMinute> HistoryStore::topAppsSync(int64_t at, int64_t window) {
    return answerNow<std::vector<AppMinute>>([=](HistoryDatabase& db) { return db.topApps(at, window); });
}

std::vector<AppTotal> HistoryStore::appTotalsSync(Date from, Date to, bool onlyOnBattery, int limit) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    return answerNow<std::vector<AppTotal>>(
        [=](HistoryDatabase& db) { return db.appTotals(f, t, onlyOnBattery, limit); });
}

MemoryProfile HistoryStore::memoryProfileSync(int days) {
    int64_t cut = wholeSeconds(clock_.now()) - static_cast<int64_t>(days) * 86400;
    return answerNow<MemoryProfile>([=](HistoryDatabase& db) { return db.memoryProfile(cut); });
}

std::optional<Date> HistoryStore::lastUnpluggedSync() {
    return answerNow<std::optional<Date>>([](HistoryDatabase& db) { return db.lastUnplugged(); });
}

std::vector<AppMinute> HistoryStore::appMinutesSync(Date from, Date to) {
    int64_t f = wholeSeconds(from), t = wholeSeconds(to);
    return answerNow<std::vector<AppMinute>>([=](HistoryDatabase& db) { return db.appMinutes(f, t); });
}

}  // namespace qm
