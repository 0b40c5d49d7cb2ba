#include "app/quicklook/QuickLook.h"

#include "app/widgets/AppTheme.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <algorithm>

#include "app/widgets/Sparkline.h"
#include "app/widgets/StatusHeader.h"
#include "app/widgets/Tones.h"
#include "engine/Monitor.h"
#include "shell/QuickLookModel.h"

namespace qm::app {

namespace {
constexpr const char* demandId = "popover";

QLabel* sectionTitle(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    markQuiet(label);
    return label;
}

void clearBox(QVBoxLayout* box) {
    while (QLayoutItem* item = box->takeAt(0)) {
        delete item->widget();
        delete item;
    }
}
}  // namespace

QuickLook::QuickLook(AppContext& context, QWidget* parent)
    : QFrame(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), context_(context) {
    setObjectName("quickLook");
    setWindowTitle("Quillmere quick look");
    setFrameShape(QFrame::StyledPanel);
    setFixedWidth(380);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(14, 12, 14, 12);
    layout->setSpacing(8);

    header_ = new StatusHeader(false, this);
    layout->addWidget(header_);

    auto* figures = new QGridLayout;
    figures->setHorizontalSpacing(10);
    const std::array<QColor, 3> colors{cpuColor(), memoryColor(), powerColor()};
    const std::array<const char*, 3> names{"CPU", "Memory", "Power"};
    for (int i = 0; i < 3; ++i) {
        figures->addWidget(new QLabel(names[static_cast<size_t>(i)], this), i, 0);
        auto* value = new QLabel(this);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setMinimumWidth(110);
        figureValues_[static_cast<size_t>(i)] = value;
        figures->addWidget(value, i, 1);
        auto* spark = new Sparkline(colors[static_cast<size_t>(i)], this);
        spark->setObjectName(QString("spark%1").arg(names[static_cast<size_t>(i)]));
        sparklines_[static_cast<size_t>(i)] = spark;
        figures->addWidget(spark, i, 2);
    }
    figures->setColumnStretch(2, 1);
    layout->addLayout(figures);

    layout->addWidget(sectionTitle("Busiest apps", this));
    appsBox_ = new QVBoxLayout;
    appsBox_->setSpacing(2);
    layout->addLayout(appsBox_);
    layout->addWidget(sectionTitle("Recent events", this));
    eventsBox_ = new QVBoxLayout;
    eventsBox_->setSpacing(2);
    layout->addLayout(eventsBox_);

    auto* open = new QPushButton("Open Quillmere", this);
    open->setObjectName("openQuillmere");
    connect(open, &QPushButton::clicked, this, [this] {
        hide();
        emit openRequested();
    });
    layout->addWidget(open, 0, Qt::AlignRight);

    monitorToken_ = context_.monitor->observe([this] {
        if (isVisible()) refresh();
    });
    refresh();
}

QuickLook::~QuickLook() {
    context_.monitor->removeObserver(monitorToken_);
    context_.monitor->removeDemand(demandId);
}

void QuickLook::refresh() {
    const Monitor& monitor = *context_.monitor;
    const Snapshot& snapshot = monitor.snapshot();
    header_->setSnapshot(snapshot);

    const auto figures = QuickLookModel::figures(snapshot);
    for (size_t i = 0; i < figureValues_.size() && i < figures.size(); ++i)
        figureValues_[i]->setText(QString::fromStdString(figures[i].value));
    sparklines_[0]->setSeries(monitor.cpuSeries(), 100);
    sparklines_[1]->setSeries(monitor.memorySeries(), 100);
    sparklines_[2]->setSeries(monitor.powerSeries(), 5);

    clearBox(appsBox_);
    busiest_.clear();
    for (const QuickLookRow& row : QuickLookModel::busiest(snapshot)) {
        auto* button = new QPushButton(this);
        button->setFlat(true);
        button->setStyleSheet("text-align: left; padding: 1px 2px;");
        const QString name = QString::fromStdString(row.title);
        button->setText(name + "  \u00B7  " + QString::fromStdString(row.value));
        const QString key = QString::fromStdString(row.key);
        connect(button, &QPushButton::clicked, this, [this, key] {
            hide();
            emit groupRequested(key);
        });
        appsBox_->addWidget(button);
        busiest_ << name;
    }
    if (busiest_.isEmpty()) appsBox_->addWidget(new QLabel("Taking a first look\u2026", this));

    clearBox(eventsBox_);
    const auto events = QuickLookModel::lastEvents(monitor.recentEvents());
    for (const QuickLookRow& row : events) {
        auto* label = new QLabel(this);
        label->setWordWrap(true);
        label->setText(QString("<span style='color:%1'>\u25CF</span> %2 <span style='color:gray'>%3</span>")
                           .arg(severityColor(row.level).name(), QString::fromStdString(row.title).toHtmlEscaped(),
                                QString::fromStdString(row.value)));
        eventsBox_->addWidget(label);
    }
    if (events.empty()) eventsBox_->addWidget(new QLabel("Nothing notable in the last day.", this));
}

QStringList QuickLook::busiestNames() const { return busiest_; }

void QuickLook::toggle(const QRect& anchor) {
    if (isVisible()) {
        hide();
        return;
    }
    if (closedByFocusLoss_.isValid() && closedByFocusLoss_.elapsed() < 300) return;
    showBeside(anchor);
}

void QuickLook::showBeside(const QRect& anchor) {
    refresh();
    adjustSize();
    const QPoint at = anchor.isValid() ? anchor.center() : QCursor::pos();
    QScreen* screen = QGuiApplication::screenAt(at);
    if (!screen) screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    // The width is fixed; only the height follows the content.
    const QSize size(width(), sizeHint().height());
    // Below the icon when it sits in a top panel, above it in a bottom one.
    const bool below = at.y() < area.center().y();
    QPoint topLeft(at.x() - size.width() / 2,
                   below ? (anchor.isValid() ? anchor.bottom() + 6 : at.y() + 12)
                         : (anchor.isValid() ? anchor.top() - size.height() - 6 : at.y() - size.height() - 12));
    topLeft.setX(std::clamp(topLeft.x(), area.left() + 4, std::max(area.left() + 4, area.right() - size.width() - 4)));
    topLeft.setY(std::clamp(topLeft.y(), area.top() + 4, std::max(area.top() + 4, area.bottom() - size.height() - 4)));
    move(topLeft);
    show();
    raise();
    activateWindow();
}

void QuickLook::showEvent(QShowEvent* event) {
    QFrame::showEvent(event);
    context_.monitor->insertDemand(demandId);
}

void QuickLook::hideEvent(QHideEvent* event) {
    QFrame::hideEvent(event);
    context_.monitor->removeDemand(demandId);
}

bool QuickLook::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate && isVisible()) {
        closedByFocusLoss_.start();
        hide();
    }
    return QFrame::event(event);
}

}  // namespace qm::app
