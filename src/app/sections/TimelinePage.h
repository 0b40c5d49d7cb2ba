// The timeline section: the recorded history over one of four ranges, scrolled back
// range by range; CPU, memory and power charts with the events as marks; the events
// list; and, for a moment clicked on a chart or an event chosen in the list, the
// busiest apps of that moment, each a link to its row in the apps section.
#pragma once

#include <QElapsedTimer>
#include <array>
#include <functional>
#include <memory>
#include <optional>

#include "app/sections/SectionPage.h"
#include "history/Timeline.h"

class QButtonGroup;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
class QTimer;
class QVBoxLayout;

namespace qm::app {

class Card;
class SeriesChart;

class TimelinePage : public SectionPage {
    Q_OBJECT
public:
    TimelinePage(AppContext& context, QWidget* parent = nullptr);

    void activated() override;
    void refresh() override {}

    // Shows a range, `back` whole ranges before now (0 is the latest).
    void showRange(HistoryTimelineView::Range range, int back = 0);
    // Points at a moment: shows what the machine was doing then.
    void pointAt(Date date);
    // A click on a chart (or an event chosen in the list) pins the moment: moving the
    // pointer over the charts shows other moments, leaving them returns to the pinned one.
    void pinAt(Date date);
    // The pointer over a chart at a moment, or off the charts (absent).
    void hoverAt(std::optional<Date> date);

    const HistoryTimelineView& view() const { return view_; }
    int rangesBack() const { return back_; }
    // Called each time a load or a moment query has been shown (tests, measurements).
    std::function<void()> onShown;
    // Milliseconds from asking for the latest range to showing it.
    qint64 lastLoadMilliseconds() const { return lastLoadMs_; }
    // How many reads of a range the page has asked the history for (tests: a switch
    // to a range already being read ahead waits for that read instead of asking again).
    int readsStarted() const { return readsStarted_; }
    // The app buttons of the moment panel.
    QList<QPushButton*> momentAppButtons() const;
    SeriesChart* cpuChart() const { return cpu_; }

private:
    void load();
    // The latest of each range is read into its own slot, one read at a time, once the
    // shown range is in; switching to a range shows its slot at once, or, while that
    // slot's read is still under way, as soon as it lands. Reading one range at a time
    // keeps a switch from queueing behind the reads of every other range.
    struct Ahead {
        HistoryTimelineView view;
        Date end = 0;
    };
    bool fresh(HistoryTimelineView::Range range, Date end) const;
    Ahead& startRead(HistoryTimelineView::Range range, Date end);
    void readAheadNext();
    void aheadLanded(HistoryTimelineView::Range range);
    void showAhead(const Ahead& ready);
    void showRows();
    void showMoment();
    Date endOfShownRange() const;

    HistoryTimelineView view_;
    int back_ = 0;
    std::array<std::unique_ptr<Ahead>, 4> ahead_;
    // The range the screen waits for from its slot, and the range being read ahead.
    std::optional<HistoryTimelineView::Range> awaiting_;
    std::optional<HistoryTimelineView::Range> readingAhead_;
    // The read of an earlier stretch; replaced (and so dropped) by any newer request.
    std::unique_ptr<HistoryTimelineView> earlierRead_;
    int readsStarted_ = 0;
    QElapsedTimer loadTimer_;
    qint64 lastLoadMs_ = 0;
    Date shownEnd_ = 0;
    std::optional<Date> pinned_;
    Date hovered_ = 0;
    QTimer* hoverPause_;  // a moment is asked for once the pointer rests, not at every pixel

    QButtonGroup* ranges_;
    QPushButton* earlier_;
    QPushButton* later_;
    QLabel* caption_;
    QStackedWidget* charts_;
    SeriesChart* cpu_;
    SeriesChart* memory_;
    SeriesChart* power_;
    QLabel* momentTitle_;
    QLabel* momentFigures_;
    QVBoxLayout* momentApps_;
    QLabel* momentEvents_;
    QLabel* eventCount_;
    QListWidget* events_;
};

SectionPage* makeTimelinePage(AppContext& context, QWidget* parent);

}  // namespace qm::app
