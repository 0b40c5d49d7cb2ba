// The long-term record of the machine: one SQLite database with a row a minute of
// system figures (`sys`), a row a minute per active app (`app`) and every event
// (`event`). All database work runs in order on the private serial queue
// "app.quillmere.history"; writes are fire-and-forget, and query results are handed
// to a completion queue (the main queue). Callers are never interrupted by an error:
// when the database is unavailable writes wait in memory and queries answer empty, and
// error() says in one line what went wrong, for the commands to report and exit on.
//
// The store guards the history against a wrong clock together with the sampler,
// which stores nothing stamped from a clock that jumped (ClockTrust, whose last trusted
// reading is kept in "<database>.clock") and prunes from a time it trusts. A prune
// never counts from later than the newest stored minute either. A minute
// before the newest stored one (a clock set back) is not written over it; the newest
// one itself is, since a restarted recorder merges its samples into it. Writes that
// fail (a busy or full database) wait in memory, at most an hour of minutes, and are
// retried in order.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "core/Clock.h"
#include "core/HistoryRecords.h"
#include "core/HistorySink.h"
#include "core/Queue.h"
#include "core/Snapshot.h"
#include "history/ClockFile.h"
#include "history/HistoryDatabase.h"

namespace qm {

class HistoryStore : public HistorySink {
public:
    // Opens the database at `path` synchronously on the store's queue. Completions of
    // the asynchronous queries run on `completionQueue`, or on the store's own queue
    // when none is given.
    explicit HistoryStore(std::string path, SerialQueue* completionQueue = nullptr,
                          const Clock& clock = Clock::system());
    ~HistoryStore() override;
    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    // The process-wide store at defaultHistoryPath(), created on first use and never
    // destroyed (the connection stays open for the life of the process).
    static HistoryStore& shared();

    void setCompletionQueue(SerialQueue* queue) { completionQueue_.store(queue); }
    const std::string& path() const { return path_; }
    bool isOpen();
    // One line naming the file and the reason when opening or the last statement failed.
    std::string error();
    // Minutes and events still waiting in memory because writing failed.
    size_t unsavedCount();

    // Writes, queued in the order issued.
    void write(const SystemMinute& minute, const std::vector<AppMinute>& apps) override;
    void write(const TimelineEvent& event) override;
    // Drops app rows older than 31 days and system rows and events older than 366 days,
    // counted from `now` (capped as above), then truncates the WAL.
    void prune(int64_t now) override;
    std::optional<StoredMinute> storedMinute(int64_t ts) override;
    std::optional<ClockAnchor> rememberedClock() override;
    void rememberClock(const ClockAnchor& anchor) override;
    void eraseAll();
    // Erases at once (the caller waits); false with error() set when it failed.
    bool eraseAllNow();
    // Waits until everything queued so far has been done.
    void waitUntilIdle();

    // Bytes of the database plus its WAL, measured on the calling thread.
    uint64_t fileSize() const;

    // Queries: the completion runs on the completion queue.
    void systemMinutes(Date from, Date to, int bucket, std::function<void(std::vector<SystemMinute>)> completion);
    void events(Date from, Date to, std::function<void(std::vector<TimelineEvent>)> completion);
    void topApps(int64_t at, int64_t window, std::function<void(std::vector<AppMinute>)> completion);
    void appTotals(Date from, Date to, bool onlyOnBattery, int limit,
                   std::function<void(std::vector<AppTotal>)> completion);
    void memoryProfile(
        int days,
        std::function<void(int64_t minutes, double pressuredFraction, double peakSwap, double peakUsed)> completion);
    void lastUnplugged(std::function<void(std::optional<Date>)> completion);

    // The same queries answered on the calling thread (it waits for the store's queue):
    // for the command line and tests.
    std::vector<SystemMinute> systemMinutesSync(Date from, Date to, int bucket);
    std::vector<TimelineEvent> eventsSync(Date from, Date to, int limit = HistoryDatabase::eventLimit);
    std::vector<AppMinute> topAppsSync(int64_t at, int64_t window);
    std::vector<AppTotal> appTotalsSync(Date from, Date to, bool onlyOnBattery, int limit);
    MemoryProfile memoryProfileSync(int days);
    std::optional<Date> lastUnpluggedSync();
    std::vector<AppMinute> appMinutesSync(Date from, Date to);

private:
    // Runs `query` on the store's queue and hands its result to `completion` on the
    // completion queue.
    template <typename Result>
    void answer(std::function<Result(HistoryDatabase&)> query, std::function<void(Result)> completion);
    template <typename Result>
    Result answerNow(std::function<Result(HistoryDatabase&)> query);
    void deliver(std::function<void()> work);
    // Bucketed system minutes, on queue_. A long range is read in two halves at once,
    // the later half on a second, read-only connection with its own queue.
    std::vector<SystemMinute> readSystemMinutes(int64_t from, int64_t to, int bucket);
    bool readerAvailable();

    struct PendingMinute {
        SystemMinute minute;
        std::vector<AppMinute> apps;
    };
    using PendingWrite = std::variant<PendingMinute, TimelineEvent>;
    // On queue_: queues a write and writes everything waiting, oldest first, until one fails.
    void enqueue(PendingWrite write);
    void writePending();

    std::string path_;
    const Clock& clock_;
    // Kept on queue_.
    std::deque<PendingWrite> pending_;
    std::optional<ClockAnchor> clockAnchor_;
    bool holdingBack_ = false;
    std::optional<double> lastHealthCheck_;  // monotonic time of the recorder's last file check
    std::atomic<SerialQueue*> completionQueue_;
    std::unique_ptr<SerialQueue> queue_;
    std::unique_ptr<HistoryDatabase> db_;  // used only on queue_
    // Made on first use by a long query; reader_ is used only on readerQueue_.
    std::unique_ptr<SerialQueue> readerQueue_;
    std::unique_ptr<HistoryReadConnection> reader_;
};

}  // namespace qm
