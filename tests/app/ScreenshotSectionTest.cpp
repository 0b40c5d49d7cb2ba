// Screenshots of every section and the timeline's timings, on this machine's live
// figures and a month of made-up history. Run by hand under a display:
//   QUILLMERE_SCREENSHOTS=docs/screenshots QT_QPA_PLATFORM=xcb
//   build/test_app --gtest_filter='ScreenshotSectionTest.*'
// QUILLMERE_DB names the history to show (filled with 30 days when empty);
// QUILLMERE_MEASURE_SECONDS also measures the program's CPU on the apps section.
// Without QUILLMERE_SCREENSHOTS the test is skipped.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QTimer>
#include <QTreeView>
#include <cstdio>
#include <filesystem>

#include "AppTestContext.h"
#include "SectionTestData.h"
#include "app/MainWindow.h"
#include "app/sections/AppsPage.h"
#include "app/sections/AppsTreeModel.h"
#include "app/sections/MemoryPartsSeries.h"
#include "app/sections/TimelinePage.h"
#include "app/widgets/AppTheme.h"
#include "history/HistoryFiles.h"
#include "knowledge/Insights.h"

namespace qm::app {
namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// The history the program would open (QUILLMERE_DB names another), filled with 30
// days of made-up minutes when it has none.
std::string monthOfHistory() {
    const std::string path = defaultHistoryPath();
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    QtMainQueue queue;
    HistoryStore history(path, &queue);
    const auto now = static_cast<int64_t>(QDateTime::currentSecsSinceEpoch());
    if (history.systemMinutesSync(static_cast<Date>(now - 30 * 86400), static_cast<Date>(now), 86400).empty()) {
        std::printf("filling 30 days of history in %s\n", path.c_str());
        test::fillHistory(history, now, 30, 13);
    }
    return path;
}

// Runs the event loop for a while, idle as the program is between events.
void serve(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

// The timeline's timings on a month of made-up history, in rounds: each round a new
// timeline page as the window makes it, switched to, then to each range in turn, then
// each range once more; once with each click as soon as the last range is painted, and
// once at a quick user's pace (a quarter second between clicks). Run by hand with
// QUILLMERE_TIMELINE_ROUNDS=5.
TEST(ScreenshotSectionTest, TimelineSwitchTimingsOnAMonthOfHistory) {
    const char* rounds = std::getenv("QUILLMERE_TIMELINE_ROUNDS");
    if (!rounds || !*rounds) GTEST_SKIP() << "set QUILLMERE_TIMELINE_ROUNDS";
    QtMainQueue mainQueue;
    HistoryStore history(monthOfHistory(), &mainQueue);
    MemoryDefaults defaults;
    UIState ui;
    AppContext context;
    context.history = &history;
    context.defaults = &defaults;
    context.ui = &ui;
    for (int pause : {0, 250})
        for (int round = 1; round <= std::max(1, std::atoi(rounds)); ++round) {
            TimelinePage page(context);
            page.resize(1280, 820);
            page.show();
            serve(200);
            bool shown = false;
            page.onShown = [&] { shown = true; };
            QElapsedTimer timer;
            // Each figure is from the click to the range painted.
            const auto time = [&](const std::function<void()>& ask) {
                if (pause > 0) serve(pause);
                shown = false;
                timer.restart();
                ask();
                EXPECT_TRUE(test::waitFor([&] { return shown; }));
                page.repaint();
                return static_cast<long long>(timer.elapsed());
            };
            std::printf("%s, round %d: open (24H) %lld ms", pause > 0 ? "paced" : "back-to-back", round,
                        time([&] { page.activated(); }));
            for (int pass = 0; pass < 2; ++pass)
                for (auto range : HistoryTimelineView::allRanges)
                    std::printf(", %s%s %lld ms", pass ? "again " : "", HistoryTimelineView::title(range).c_str(),
                                time([&] { page.showRange(range); }));
            std::printf("\n");
            serve(1500);  // the read-ahead settles before the next page
        }
}

TEST(ScreenshotSectionTest, EverySectionLiveWithAMonthOfHistory) {
    const char* out = std::getenv("QUILLMERE_SCREENSHOTS");
    if (!out || !*out) GTEST_SKIP() << "set QUILLMERE_SCREENSHOTS to a folder";
    QDir().mkpath(out);

    QtMainQueue mainQueue;
    HistoryStore history(monthOfHistory(), &mainQueue);
    const auto now = static_cast<int64_t>(QDateTime::currentSecsSinceEpoch());

    MemoryDefaults defaults;
    UIState ui;
    Sampler::Dependencies deps;
    deps.defaults = &defaults;
    Monitor monitor(mainQueue, std::make_unique<Sampler>(std::move(deps)), &history);
    AppContext context;
    context.monitor = &monitor;
    context.history = &history;
    context.defaults = &defaults;
    context.ui = &ui;
    const MemoryPartsSeries memoryParts(monitor);
    context.memoryParts = &memoryParts;
    MainWindow window(context);
    window.resize(1280, 820);
    monitor.start();
    window.show();
    serve(7000);  // a few live ticks for the series

    // The timeline's timings: the first switch to it, then each range.
    auto* timeline = static_cast<TimelinePage*>(window.page(Section::timeline));
    bool shown = false;
    timeline->onShown = [&] { shown = true; };
    QElapsedTimer timer;
    timer.start();
    ui.show(Section::timeline);
    ASSERT_TRUE(test::waitFor([&] { return shown; }));
    window.repaint();
    std::printf("switch to the timeline (24H, 30 days of history): %lld ms\n", static_cast<long long>(timer.elapsed()));
    for (auto range : HistoryTimelineView::allRanges) {
        shown = false;
        timer.restart();
        timeline->showRange(range);
        ASSERT_TRUE(test::waitFor([&] { return shown; }));
        window.repaint();
        std::printf("range %s: %lld ms, %zu points\n", HistoryTimelineView::title(range).c_str(),
                    static_cast<long long>(timer.elapsed()), timeline->view().rows.size());
    }
    timeline->showRange(HistoryTimelineView::Range::day);
    ASSERT_TRUE(test::waitFor([&] { return shown; }));
    shown = false;
    timeline->pointAt(static_cast<Date>(now - 5 * 3600));
    test::waitFor([&] { return shown; });

    for (Section section : allSections) {
        if (section == Section::apps) {
            if (const AppGroup* busy = Insights::heaviest(monitor.snapshot())) ui.selectGroup(busy->id);
        }
        ui.show(section);
        serve(section == Section::timeline ? 300 : 2500);
        const QString file = QString("%1/%2.png").arg(out, QString::fromStdString(std::string(rawValue(section))));
        EXPECT_TRUE(window.grab().save(file)) << file.toStdString();
    }
    // The same in a dark window, and a narrow one.
    const auto shoot = [&](Section section, const QString& name) {
        ui.show(section);
        serve(2500);
        EXPECT_TRUE(window.grab().save(QString("%1/%2.png").arg(out, name)));
    };
    applyAppearance(Appearance::dark);
    shoot(Section::overview, "overview-dark");
    shoot(Section::apps, "apps-dark");
    applyAppearance(Appearance::system);
    window.resize(800, 500);
    shoot(Section::overview, "overview-narrow");
    shoot(Section::apps, "apps-narrow");
    window.resize(1920, 1080);
    shoot(Section::overview, "overview-wide");
    window.resize(1280, 820);

    if (const char* seconds = std::getenv("QUILLMERE_MEASURE_SECONDS")) {
        ui.show(Section::apps);
        serve(3000);
        const int span = std::max(10, std::atoi(seconds));
        const double before = cpuSeconds();
        timer.restart();
        serve(span * 1000);
        const double used = cpuSeconds() - before;
        std::printf("apps section, %lld processes, %d s: %.2f%% of a core\n",
                    static_cast<long long>(monitor.snapshot().processCount), span,
                    used / (static_cast<double>(timer.elapsed()) / 1000.0) * 100.0);
    }
}

}  // namespace
}  // namespace qm::app
