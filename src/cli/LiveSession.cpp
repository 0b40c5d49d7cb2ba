#include "cli/LiveSession.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

#include "cli/HistoryAccess.h"
#include "cli/LiveActions.h"
#include "cli/LiveLayout.h"
#include "cli/LivePane.h"
#include "cli/LiveView.h"
#include "cli/ProcessDetails.h"
#include "core/Defaults.h"
#include "core/DefaultsRanges.h"
#include "engine/Sampler.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"
#include "knowledge/ProcessLibrary.h"
#include "processes/ProcessCommandLine.h"
#include "processes/SignatureCache.h"

namespace qm::cli {

namespace {

using namespace live;

// The first read is drawn as soon as it is in, its rates shown as "…"; the second
// comes this long after it. Long enough for the kernel's 100 Hz counters to say
// something about every process, short enough that the figures follow at once.
constexpr std::chrono::milliseconds firstRatesDelay{250};

// The latest snapshot, handed from the sampler's thread to the view's.
struct Handoff {
    struct Read {
        Snapshot snapshot;
        bool first = false;  // no read before it: its rates are not real
    };
    std::mutex mutex;
    std::optional<Read> latest;

    void put(const Snapshot& snapshot, bool first) {
        std::lock_guard lock(mutex);
        latest = Read{snapshot, first};
    }
    std::optional<Read> take() {
        std::lock_guard lock(mutex);
        return std::exchange(latest, std::nullopt);
    }
};

// Command lines read once per process and kept while it runs (a reused pid with
// another name is read again).
class CommandLines {
public:
    const std::string& of(int32_t pid, const std::string& name) {
        auto [it, added] = lines_.try_emplace(pid);
        if (added || it->second.first != name) it->second = {name, processCommandLine(pid)};
        return it->second.second;
    }
    void keepOnly(const Snapshot& snapshot) {
        std::unordered_map<int32_t, std::pair<std::string, std::string>> kept;
        for (const AppGroup& g : snapshot.groups)
            for (const ProcessSample& p : g.processes)
                if (auto it = lines_.find(p.pid); it != lines_.end() && it->second.first == p.name)
                    kept.insert(std::move(*it));
        lines_ = std::move(kept);
    }

private:
    std::unordered_map<int32_t, std::pair<std::string, std::string>> lines_;
};

// The person's choices, kept in their settings between runs.
namespace key_names {
constexpr const char* sort = "top.sort";
constexpr const char* ascending = "top.ascending";
constexpr const char* processes = "top.processes";
constexpr const char* tree = "top.tree";
constexpr const char* mouse = "top.mouse";
constexpr const char* monochrome = "top.monochrome";
constexpr const char* interval = "top.interval";
}  // namespace key_names

void restore(ViewState& state, const Defaults& settings) {
    if (auto column = sortColumnFromRaw(settings.stringValue(key_names::sort))) {
        state.rows.sort = *column;
        state.rows.ascending = settings.boolValue(key_names::ascending);
    }
    state.rows.allProcesses = settings.boolValue(key_names::processes);
    state.rows.tree = settings.boolValue(key_names::tree);
    state.mouse = !settings.contains(key_names::mouse) || settings.boolValue(key_names::mouse);
    state.monochrome = settings.boolValue(key_names::monochrome);
    const double remembered = settings.doubleValue(key_names::interval);
    const double refresh = settings.doubleValue("refresh.interval");
    state.period = remembered >= 1 ? clampToRange(key_names::interval, remembered)
                   : refresh >= 1  ? clampToRange("refresh.interval", refresh)
                                   : 2.0;
}

void remember(const ViewState& state, Defaults& settings) {
    auto set = [&](const char* key, SettingValue value) {
        if (settings.value(key) != value) settings.set(key, std::move(value));
    };
    set(key_names::sort, std::string(rawValue(state.rows.sort)));
    set(key_names::ascending, state.rows.ascending);
    set(key_names::processes, state.rows.allProcesses);
    set(key_names::tree, state.rows.tree);
    set(key_names::mouse, state.mouse);
    set(key_names::monochrome, state.monochrome);
}

// A recorded minute, read off the view's thread; the answer wakes the view.
class HistoryReader {
public:
    // Starts reading the minute `minutesBack` before now's; false when there is no
    // history to read (`moment.problem` then says why).
    void request(int minutesBack, Date now, Moment& moment) {
        const int64_t ts = static_cast<int64_t>(std::floor(now / 60)) * 60 - 60LL * minutesBack;
        moment = Moment{};
        moment.ts = ts;
        if (!open(moment)) return;
        auto pending = pending_;
        {
            std::lock_guard lock(pending->mutex);
            pending->moment = Moment{};
            pending->moment.ts = ts;
            pending->parts = 0;
        }
        auto done = [pending, ts](auto fill) {
            std::lock_guard lock(pending->mutex);
            if (pending->moment.ts != ts) return;  // an older request's answer
            fill(pending->moment);
            if (++pending->parts == 3) LiveView::wakeAny();
        };
        store_->systemMinutes(static_cast<Date>(ts), static_cast<Date>(ts + 60), 60,
                              [done, ts](std::vector<SystemMinute> rows) {
            done([&](Moment& m) {
                for (const SystemMinute& r : rows)
                    if (r.ts == ts) m.system = r;
            });
        });
        store_->topApps(ts, 60, [done](std::vector<AppMinute> apps) { done([&](Moment& m) { m.apps = apps; }); });
        const int64_t hour = ts / 3600 * 3600;
        store_->events(static_cast<Date>(hour), static_cast<Date>(hour + 3600),
                       [done](std::vector<TimelineEvent> events) { done([&](Moment& m) { m.events = events; }); });
    }

    // The answer, once all three parts are in.
    bool collect(Moment& moment) {
        std::lock_guard lock(pending_->mutex);
        if (pending_->parts != 3 || pending_->moment.ts != moment.ts) return false;
        moment = pending_->moment;
        pending_->parts = 0;
        return true;
    }

private:
    bool open(Moment& moment) {
        const std::string path = defaultHistoryPath();
        if (!hasHistoryFile(path)) {
            moment.problem = nothingRecordedText(path);
            return false;
        }
        if (!store_) store_ = std::make_unique<HistoryStore>(path);
        if (!store_->isOpen()) {
            moment.problem = "The history at " + path + " cannot be read: " + store_->error();
            store_.reset();
            return false;
        }
        return true;
    }

    struct Pending {
        std::mutex mutex;
        Moment moment;
        int parts = 0;
    };
    std::shared_ptr<Pending> pending_ = std::make_shared<Pending>();
    std::unique_ptr<HistoryStore> store_;
};

}  // namespace

void runLiveSession(LiveView& view, std::optional<double> interval) {
    Defaults& settings = Defaults::shared();
    ViewState state;
    restore(state, settings);
    if (interval) state.period = *interval;

    // The sampler reads its period from its own copy of the settings, so +/- change
    // this view's pace without touching the desktop app's.
    auto samplerSettings = std::make_shared<MemoryDefaults>();
    for (const auto& [k, value] : settings.all()) samplerSettings->set(k, value);
    samplerSettings->set("refresh.interval", state.period);
    Sampler::Dependencies deps;
    deps.defaults = samplerSettings.get();
    auto sampler = std::make_unique<Sampler>(std::move(deps));

    Handoff handoff;
    bool primed = false;  // touched only on the sampler's thread
    sampler->onSnapshot = [&](const Snapshot& snapshot) {
        // The priming tick gives the counters a previous read: the view draws its
        // processes and memory at once and leaves its rates out.
        handoff.put(snapshot, !std::exchange(primed, true));
        LiveView::wakeAny();
    };

    std::optional<Snapshot> current;
    bool firstRead = false;  // `current` is the priming read
    bool inputSinceFirst = false;
    std::vector<Row> rows;
    Trends trends;
    RecentFigures recent;
    CommandLines commandLines;
    Moment moment;
    HistoryReader history;
    Geometry geometry;
    const ProcessActions actions = ProcessActions::system();
    const auto ownUID = static_cast<uint32_t>(::getuid());
    const ProcessLibrary& library = ProcessLibrary::shared();
    view.setMouse(state.mouse);

    // Looking a pid up in the groups for every visible row would be quadratic; the
    // rows carry their names, so the cache is asked directly.
    std::unordered_map<int32_t, const ProcessSample*> byPID;
    const CommandLineOf fastCommandLine = [&](int32_t pid) -> std::string {
        auto it = byPID.find(pid);
        return it == byPID.end() ? std::string() : commandLines.of(pid, it->second->name);
    };

    auto rebuild = [&] { rows = current ? rowsFor(current->groups, state.rows, fastCommandLine) : std::vector<Row>{}; };
    auto madeBy = [&](const Row& row) -> std::string {
        if (!current) return {};
        std::string path;
        for (const AppGroup& g : current->groups)
            if (g.id == row.groupID) {
                path = groupExecutable(g);
                for (const ProcessSample& p : g.processes)
                    if (row.pid && p.pid == *row.pid && row.id.starts_with("pid:")) path = p.path;
            }
        if (path.empty()) return "Not known: the program's file cannot be read.";
        if (auto info = SignatureCache::shared().cached(path)) return info->title() + ". " + info->explanation();
        SignatureCache::shared().lookup(path, [](const SignatureInfo&) { LiveView::wakeAny(); });
        return {};
    };
    auto draw = [&] {
        Model model;
        model.snapshot = current ? &*current : nullptr;
        model.firstRead = firstRead;
        model.rows = &rows;
        model.trends = &trends;
        model.moment = &moment;
        model.commandLine = fastCommandLine;
        model.now = current ? current->date : static_cast<Date>(std::time(nullptr));
        Pane pane;
        if (state.explain && current) {
            // The pane follows the selection; settle first so it is the row shown.
            state.settle(rows, geometry.listHeight);
            if (const Row* row = state.selectedRow(rows)) {
                const std::string command = row->pid && row->count == 1 ? fastCommandLine(*row->pid) : std::string();
                pane = paneFor(*row, current->groups, library, madeBy(*row), command, recent);
                model.pane = &pane;
            }
        }
        Screen screen = screenFor(model, state, view.width(), view.height());
        geometry = screen.geometry;
        view.paint(screen.lines, state.monochrome);
    };
    auto carryOut = [&] {
        if (!state.confirmation) return;
        state.message = carryOutConfirmation(actions, *state.confirmation);
        state.confirmation.reset();
    };

    draw();
    // The priming tick runs at once; the second follows it after a short interval,
    // counted from when the first was asked for, and the regular period from there.
    // A helper thread waits for it, so this one is free to draw the first read as
    // soon as it arrives.
    sampler->setLive(true);
    Sampler* ticking = sampler.get();
    std::thread secondRead([ticking, due = std::chrono::steady_clock::now() + firstRatesDelay] {
        std::this_thread::sleep_until(due);
        ticking->queue().post([ticking] { ticking->sample(); });
        ticking->reschedule();  // the next tick one period after the first figures
    });

    for (;;) {
        const LiveView::Happened happened = view.wait();
        if (happened.stop) break;
        bool redraw = happened.resized || !happened.inputs.empty();
        if (firstRead && !happened.inputs.empty()) inputSinceFirst = true;
        if (happened.woken) {
            if (auto read = handoff.take()) {
                Snapshot& snapshot = read->snapshot;
                if (!read->first) {
                    trends.add(snapshot);
                    recent.add(snapshot);
                }
                // The first read's rows were ordered without CPU shares: unless the
                // person moved since, the selection starts again at the top.
                if (firstRead && !read->first && !inputSinceFirst) state.selected.clear();
                if (!state.paused || !current || firstRead) {
                    firstRead = read->first;
                    current = std::move(snapshot);
                    byPID.clear();
                    for (const AppGroup& g : current->groups)
                        for (const ProcessSample& p : g.processes) byPID[p.pid] = &p;
                    commandLines.keepOnly(*current);
                    redraw = true;
                }
            }
            if (state.minutesBack > 0 && history.collect(moment)) redraw = true;
            if (state.explain) redraw = true;  // a provenance answer may have come
        }
        rebuild();
        bool leave = false;
        for (const Input& input : happened.inputs) {
            static const std::vector<AppGroup> noGroups;
            const Context context{rows, current ? current->groups : noGroups, geometry, ownUID, fastCommandLine};
            switch (handle(state, input, context)) {
                case Request::none: break;
                case Request::quit: leave = true; break;
                case Request::period:
                    samplerSettings->set("refresh.interval", state.period);
                    sampler->reschedule();
                    settings.set(key_names::interval, state.period);
                    break;
                case Request::history:
                    if (state.minutesBack > 0) {
                        history.request(state.minutesBack, static_cast<Date>(std::time(nullptr)), moment);
                        if (!moment.problem.empty() && state.minutesBack > 1) state.minutesBack = 1;
                    }
                    break;
                case Request::act: carryOut(); break;
                case Request::prepareAction: {
                    // Stop, continue and priority on one process of the user's own need
                    // no question; a quit always asks.
                    const Confirmation& c = *state.confirmation;
                    const bool quitting = c.action == Action::quit || c.action == Action::forceQuit;
                    if (!quitting && c.targets.size() == 1 && c.chosen.front()) carryOut();
                    break;
                }
                case Request::settings:
                    view.setMouse(state.mouse);
                    remember(state, settings);
                    break;
            }
            if (leave) break;
            rebuild();
        }
        if (leave) break;
        if (redraw) draw();
    }
    secondRead.join();  // at most the first interval, when leaving at once
    sampler.reset();    // stops ticking before the view gives the terminal back
}

}  // namespace qm::cli
