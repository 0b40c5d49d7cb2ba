// The timeline section: the recorded history over one of four ranges, scrolled back
// range by range; CPU, memory and power charts with the events as marks; the events
// list; and, for a moment clicked on a chart or an event chosen in the list, the
// busiest apps of that moment, each a link to its row in the apps section.
#pragma once

#include <QElapsedTimer>
#include <array>
#include <functional>
#include <memory>

#include "app/sections/SectionPage.h"
#include "history/Timeline.h"

class QButtonGroup;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;
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
    // Points at a moment, as a click on a chart does.
    void pointAt(Date date);

    const HistoryTimelineView& view() const { return view_; }
    int rangesBack() const { return back_; }
    // Called each time a load or a moment query has been shown (tests, measurements).
    std::function<void()> onShown;
    // Milliseconds from asking for the latest range to showing it.
    qint64 lastLoadMilliseconds() const { return lastLoadMs_; }
    // The app buttons of the moment panel.
    QList<QPushButton*> momentAppButtons() const;
    SeriesChart* cpuChart() const { return cpu_; }

private:
    void load();
    // After the shown range is in, the latest of the other ranges are read ahead, so
    // switching to them shows at once.
    void prefetch();
    void showRows();
    void showMoment();
    Date endOfShownRange() const;

    HistoryTimelineView view_;
    int back_ = 0;
    struct Ahead {
        HistoryTimelineView view;
        Date end = 0;
    };
    std::array<std::unique_ptr<Ahead>, 4> ahead_;
    QElapsedTimer loadTimer_;
    qint64 lastLoadMs_ = 0;
    Date shownEnd_ = 0;

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
