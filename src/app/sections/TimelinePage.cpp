#include "app/sections/TimelinePage.h"

#include <QButtonGroup>
#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <cmath>

#include "app/sections/SectionStyle.h"
#include "app/widgets/SeriesChart.h"
#include "fmt/Fmt.h"
#include "shell/MachineSections.h"

namespace qm::app {

namespace {
Date now() { return static_cast<Date>(QDateTime::currentMSecsSinceEpoch()) / 1000.0; }

SeriesChart* makeChart(const QString& name, QWidget* parent) {
    auto* chart = new SeriesChart(parent);
    chart->setObjectName(name);
    chart->setMinimumHeight(110);
    return chart;
}

QLabel* chartLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    return label;
}
}  // namespace

TimelinePage::TimelinePage(AppContext& context, QWidget* parent) : SectionPage(Section::timeline, context, parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addWidget(makePageTitle("Timeline", this));
    layout->addWidget(makeText(shown(HistoryTimelineView::headerHint), this, true));

    auto* bar = new QHBoxLayout;
    ranges_ = new QButtonGroup(this);
    for (auto range : HistoryTimelineView::allRanges) {
        auto* button = new QPushButton(QString::fromStdString(HistoryTimelineView::title(range)), this);
        button->setCheckable(true);
        button->setObjectName(QString("range") + QString::fromStdString(HistoryTimelineView::title(range)));
        ranges_->addButton(button, static_cast<int>(range));
        bar->addWidget(button);
    }
    ranges_->button(static_cast<int>(view_.range))->setChecked(true);
    bar->addSpacing(16);
    earlier_ = new QPushButton(QString::fromUtf8("\u2039 Earlier"), this);
    later_ = new QPushButton(QString::fromUtf8("Later \u203a"), this);
    bar->addWidget(earlier_);
    bar->addWidget(later_);
    caption_ = makeText({}, this, true);
    bar->addWidget(caption_, 1);
    layout->addLayout(bar);

    auto* split = new QSplitter(this);
    auto* left = new QWidget(split);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    charts_ = new QStackedWidget(left);
    auto* chartsPage = new QWidget(charts_);
    auto* chartsLayout = new QVBoxLayout(chartsPage);
    chartsLayout->setContentsMargins(0, 0, 0, 0);
    cpu_ = makeChart("timelineCPU", chartsPage);
    cpu_->setFixedMaximum(100);
    cpu_->setValueText([](double v) { return QString::fromStdString(Fmt::percent(v)); });
    memory_ = makeChart("timelineMemory", chartsPage);
    memory_->setFixedMaximum(100);
    memory_->setValueText([](double v) { return QString::fromStdString(Fmt::percent(v)); });
    power_ = makeChart("timelinePower", chartsPage);
    power_->setValueText([](double v) { return QString::fromStdString(Fmt::watts(v)); });
    chartsLayout->addWidget(chartLabel("CPU", chartsPage));
    chartsLayout->addWidget(cpu_);
    chartsLayout->addWidget(chartLabel("Memory used", chartsPage));
    chartsLayout->addWidget(memory_);
    chartsLayout->addWidget(chartLabel("Power", chartsPage));
    chartsLayout->addWidget(power_);
    auto* empty = new Card(HistoryTimelineView::emptyTitle, charts_);
    empty->setObjectName("timelineEmpty");
    empty->body()->addWidget(makeText(shown(HistoryTimelineView::emptyText), empty));
    empty->body()->addStretch(1);
    charts_->addWidget(chartsPage);
    charts_->addWidget(empty);
    leftLayout->addWidget(charts_, 1);

    eventCount_ = chartLabel({}, left);
    eventCount_->setAccessibleDescription("Number of events in the selected time range");
    events_ = new QListWidget(left);
    events_->setObjectName("timelineEvents");
    events_->setAccessibleName("Events");
    events_->setMaximumHeight(170);
    events_->setWordWrap(true);
    leftLayout->addWidget(eventCount_);
    leftLayout->addWidget(events_);

    auto* moment = new Card("At this moment", split);
    moment->setObjectName("momentPanel");
    moment->setMinimumWidth(260);
    momentTitle_ = makeText({}, moment);
    momentFigures_ = makeText({}, moment, true);
    momentApps_ = new QVBoxLayout;
    momentEvents_ = makeText({}, moment, true);
    moment->body()->addWidget(momentTitle_);
    moment->body()->addWidget(momentFigures_);
    moment->body()->addLayout(momentApps_);
    moment->body()->addWidget(momentEvents_);
    moment->body()->addStretch(1);
    split->addWidget(left);
    split->addWidget(moment);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 1);
    layout->addWidget(split, 1);

    connect(ranges_, &QButtonGroup::idClicked, this,
            [this](int id) { showRange(static_cast<HistoryTimelineView::Range>(id), 0); });
    connect(earlier_, &QPushButton::clicked, this, [this] { showRange(view_.range, back_ + 1); });
    connect(later_, &QPushButton::clicked, this, [this] { showRange(view_.range, std::max(0, back_ - 1)); });
    hoverPause_ = new QTimer(this);
    hoverPause_->setSingleShot(true);
    hoverPause_->setInterval(40);
    connect(hoverPause_, &QTimer::timeout, this, [this] { pointAt(hovered_); });
    for (SeriesChart* chart : {cpu_, memory_, power_}) {
        chart->setTracksPointer(true);
        connect(chart, &SeriesChart::pointed, this, &TimelinePage::pinAt);
        connect(chart, &SeriesChart::hovered, this, &TimelinePage::hoverAt);
    }
    connect(events_, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { pinAt(item->data(Qt::UserRole).toDouble()); });
    showMoment();
}

void TimelinePage::activated() { load(); }

Date TimelinePage::endOfShownRange() const {
    return now() - static_cast<double>(back_) * static_cast<double>(HistoryTimelineView::span(view_.range));
}

void TimelinePage::showRange(HistoryTimelineView::Range range, int back) {
    if (range != view_.range) {
        pinned_.reset();
        view_.selected.reset();
        view_.atSelection.clear();
    }
    view_.range = range;
    back_ = std::max(0, back);
    if (auto* button = ranges_->button(static_cast<int>(range))) button->setChecked(true);
    load();
}

void TimelinePage::load() {
    later_->setEnabled(back_ > 0);
    awaiting_.reset();
    earlierRead_.reset();
    HistoryStore* history = context().history;
    shownEnd_ = endOfShownRange();
    const Date from = shownEnd_ - static_cast<double>(HistoryTimelineView::span(view_.range));
    caption_->setText(QString::fromStdString(sections::rangeCaption(from, shownEnd_)));
    if (!history) {
        view_.rows.clear();
        view_.events.clear();
        view_.loaded = true;
        showRows();
        return;
    }
    loadTimer_.start();
    if (back_ == 0) {
        // The latest of a range comes from its slot: shown at once when read moments
        // ago, awaited when its read is under way, read now otherwise.
        if (!fresh(view_.range, shownEnd_)) startRead(view_.range, shownEnd_);
        const Ahead& ready = *ahead_[static_cast<size_t>(view_.range)];
        if (ready.view.loaded)
            showAhead(ready);
        else
            awaiting_ = view_.range;
        return;
    }
    ++readsStarted_;
    earlierRead_ = std::make_unique<HistoryTimelineView>();
    earlierRead_->range = view_.range;
    earlierRead_->load(*history, shownEnd_, [this] {
        view_.rows = std::move(earlierRead_->rows);
        view_.events = std::move(earlierRead_->events);
        view_.loaded = true;
        showRows();
        lastLoadMs_ = loadTimer_.elapsed();
        if (onShown) onShown();
        readAheadNext();
    });
}

bool TimelinePage::fresh(HistoryTimelineView::Range range, Date end) const {
    const auto& slot = ahead_[static_cast<size_t>(range)];
    return slot && end - slot->end < static_cast<double>(HistoryTimelineView::bucket(range));
}

TimelinePage::Ahead& TimelinePage::startRead(HistoryTimelineView::Range range, Date end) {
    // Replacing a slot drops its read: the old view's answer is ignored once it is gone.
    auto& slot = ahead_[static_cast<size_t>(range)];
    slot = std::make_unique<Ahead>();
    slot->view.range = range;
    slot->end = end;
    ++readsStarted_;
    slot->view.load(*context().history, end, [this, range] { aheadLanded(range); });
    return *slot;
}

void TimelinePage::aheadLanded(HistoryTimelineView::Range range) {
    const Ahead& ready = *ahead_[static_cast<size_t>(range)];
    if (awaiting_ == range && view_.range == range && back_ == 0) {
        awaiting_.reset();
        showAhead(ready);
    }
    if (readingAhead_ == range) readingAhead_.reset();
    readAheadNext();
}

void TimelinePage::readAheadNext() {
    if (readingAhead_ || !context().history) return;
    const Date end = now();
    for (auto range : HistoryTimelineView::allRanges) {
        if (fresh(range, end)) continue;
        readingAhead_ = range;
        startRead(range, end);
        return;
    }
}

void TimelinePage::showAhead(const Ahead& ready) {
    shownEnd_ = ready.end;
    view_.rows = ready.view.rows;
    view_.events = ready.view.events;
    view_.loaded = true;
    showRows();
    lastLoadMs_ = loadTimer_.elapsed();
    if (onShown) onShown();
    readAheadNext();
}

void TimelinePage::showRows() {
    const auto& rows = view_.rows;
    const double bucket = static_cast<double>(HistoryTimelineView::bucket(view_.range));
    const Date from = shownEnd_ - static_cast<double>(HistoryTimelineView::span(view_.range));
    charts_->setCurrentIndex(view_.loaded && rows.empty() ? 1 : 0);

    std::vector<double> xs, cpu, memory, power;
    xs.reserve(rows.size());
    cpu.reserve(rows.size());
    memory.reserve(rows.size());
    power.reserve(rows.size());
    for (const SystemMinute& row : rows) {
        xs.push_back(static_cast<double>(row.ts) + bucket / 2);
        cpu.push_back(row.cpu);
        memory.push_back(row.memTotal > 0 ? row.memUsed / row.memTotal * 100.0 : 0.0);
        power.push_back(row.power.value_or(0.0));
    }
    std::vector<SeriesChart::Mark> marks;
    for (const TimelineEvent& event : view_.events)
        marks.push_back({event.date, severityColor(static_cast<int>(event.severity))});
    const std::pair<SeriesChart*, std::vector<double>*> charts[] = {{cpu_, &cpu}, {memory_, &memory}, {power_, &power}};
    const QColor colors[] = {cpuColor(), memoryColor(), powerColor()};
    for (size_t i = 0; i < std::size(charts); ++i) {
        SeriesChart* chart = charts[i].first;
        chart->setPositions(xs, from, shownEnd_);
        chart->setSeries({{chart->objectName(), colors[i], std::move(*charts[i].second)}});
        chart->setMarks(marks);
    }

    eventCount_->setText(QString::fromStdString(HistoryTimelineView::eventCount(view_.events.size())));
    events_->clear();
    if (view_.events.empty()) {
        auto* item = new QListWidgetItem(shown(HistoryTimelineView::noEvents), events_);
        item->setFlags(Qt::NoItemFlags);
    }
    const Date at = now();
    for (const TimelineEvent& event : view_.events) {
        const QString text = QString("%1  %2 \u2014 %3")
                                 .arg(QString::fromStdString(HistoryTimelineView::eventAge(event.date, at)),
                                      shown(event.title), shown(event.detail));
        auto* item = new QListWidgetItem(text, events_);
        item->setData(Qt::UserRole, event.date);
        item->setForeground(severityColor(static_cast<int>(event.severity)));
    }
    showMoment();
}

void TimelinePage::pinAt(Date date) {
    hoverPause_->stop();
    pinned_ = date;
    pointAt(date);
}

void TimelinePage::hoverAt(std::optional<Date> date) {
    if (date) {
        hovered_ = *date;
        hoverPause_->start();
        return;
    }
    hoverPause_->stop();
    if (pinned_) pointAt(*pinned_);
}

void TimelinePage::pointAt(Date date) {
    HistoryStore* history = context().history;
    if (!history || !std::isfinite(date)) return;
    // Within the bucket already shown there is nothing new to ask for.
    const int64_t bucket = HistoryTimelineView::bucket(view_.range);
    if (view_.selected &&
        HistoryTimelineView::bucketStart(*view_.selected, bucket) == HistoryTimelineView::bucketStart(date, bucket))
        return;
    view_.select(date, *history, [this] {
        showMoment();
        if (onShown) onShown();
    });
    showMoment();
}

QList<QPushButton*> TimelinePage::momentAppButtons() const {
    QList<QPushButton*> buttons;
    for (int i = 0; i < momentApps_->count(); ++i)
        if (auto* b = qobject_cast<QPushButton*>(momentApps_->itemAt(i)->widget())) buttons << b;
    return buttons;
}

void TimelinePage::showMoment() {
    while (QLayoutItem* item = momentApps_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    const MomentPanel panel = view_.momentPanel();
    for (SeriesChart* chart : {cpu_, memory_, power_})
        chart->setSelection(panel.date ? std::optional<double>(*panel.date) : std::nullopt);
    if (!panel.date) {
        momentTitle_->setText(shown(HistoryTimelineView::momentPrompt));
        momentFigures_->clear();
        momentEvents_->clear();
        return;
    }
    momentTitle_->setText(QString::fromStdString(Fmt::dayTime(*panel.date)));
    momentFigures_->setText(panel.row ? QString::fromStdString(sections::momentFigures(*panel.row)) : QString());
    if (panel.apps.empty()) {
        auto* none = makeText(shown(HistoryTimelineView::noAppData), nullptr, true);
        momentApps_->addWidget(none);
    }
    for (const AppMinute& app : panel.apps) {
        auto* button = new QPushButton(QString::fromStdString(sections::momentApp(app)));
        button->setFlat(true);
        button->setStyleSheet("text-align:left");
        button->setToolTip("Show in Apps & Processes");
        const std::string key = app.key;
        connect(button, &QPushButton::clicked, this, [this, key] { context().ui->reveal(key); });
        momentApps_->addWidget(button);
    }
    QStringList near;
    for (const TimelineEvent& event : panel.events)
        near << QString("%1 \u2014 %2").arg(QString::fromStdString(Fmt::time(event.date)), shown(event.title));
    momentEvents_->setText(near.join('\n'));
}

SectionPage* makeTimelinePage(AppContext& context, QWidget* parent) { return new TimelinePage(context, parent); }

}  // namespace qm::app
