#include "app/sections/EnergyPage.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "app/sections/SectionStyle.h"
#include "fmt/Fmt.h"
#include "history/Energy.h"
#include "shell/MachineSections.h"

namespace qm::app {

namespace {
QString line(const std::string& name, const std::string& value, const std::string& extra = {}) {
    QString html =
        QString("%1 <b>%2</b>")
            .arg(QString::fromStdString(name).toHtmlEscaped(), QString::fromStdString(value).toHtmlEscaped());
    if (!extra.empty()) html += " <span style=\"color:gray\">" + shown(extra).toHtmlEscaped() + "</span>";
    return html + "<br>";
}

// Today's totals are asked for again at most once a minute while the page shows.
constexpr double todayInterval = 60;
}  // namespace

EnergyPage::EnergyPage(AppContext& context, QWidget* parent) : SectionPage(Section::energy, context, parent) {
    const ScrollingPage page = makeScrollingPage(this, "Energy");
    QWidget* content = page.content;
    QVBoxLayout* layout = page.layout;

    watts_ = makePageTitle({}, content);
    watts_->setObjectName("wattsNow");
    sentence_ = makeText({}, content);
    layout->addWidget(makeText("Whole machine, now", content, true));
    layout->addWidget(watts_);
    layout->addWidget(sentence_);

    auto* row = new QHBoxLayout;
    auto* powerCard =
        new Card(symbolGlyph(energy::powerNowSymbol) + " " + QString::fromUtf8(energy::powerNowHeader), content);
    powerNow_ = makeText({}, powerCard);
    powerNow_->setTextFormat(Qt::RichText);
    estimateNote_ = makeText({}, powerCard, true);
    powerCard->body()->addWidget(powerNow_);
    powerCard->body()->addWidget(estimateNote_);
    powerCard->body()->addStretch(1);
    battery_ = new Card("Battery", content);
    batteryText_ = makeText({}, battery_);
    batteryText_->setTextFormat(Qt::RichText);
    battery_->body()->addWidget(batteryText_);
    battery_->body()->addStretch(1);
    row->addWidget(powerCard, 3);
    row->addWidget(battery_, 2);
    layout->addLayout(row);

    drain_ = new Card(QString::fromUtf8(energy::drainHeader), content);
    drainSubtitle_ = makeText({}, drain_, true);
    drainText_ = makeText({}, drain_);
    drainText_->setTextFormat(Qt::RichText);
    drain_->body()->addWidget(drainSubtitle_);
    drain_->body()->addWidget(drainText_);
    layout->addWidget(drain_);

    auto* todayCard = new Card("Today", content);
    todayCard->body()->addWidget(makeText(QString::fromUtf8(energy::todayCaption), todayCard, true));
    todayText_ = makeText({}, todayCard);
    todayText_->setTextFormat(Qt::RichText);
    todayCard->body()->addWidget(todayText_);
    layout->addWidget(todayCard);
    layout->addStretch(1);
}

void EnergyPage::activated() {
    todayAsked_ = 0;
    loadToday();
}

void EnergyPage::loadToday() {
    HistoryStore* history = context().history;
    const double now = static_cast<double>(QDateTime::currentSecsSinceEpoch());
    if (!history || now - todayAsked_ < todayInterval) return;
    todayAsked_ = now;
    QPointer<EnergyPage> self(this);
    history->appTotals(energy::startOfDay(now), now, false, energy::todayLimit, [self](std::vector<AppTotal> totals) {
        if (self) self->setTodayTotals(std::move(totals));
    });
}

void EnergyPage::setTodayTotals(std::vector<AppTotal> totals) {
    today_ = std::move(totals);
    todayLoaded_ = true;
    refresh();
}

void EnergyPage::refresh() {
    loadToday();
    const Monitor& monitor = *context().monitor;
    const Snapshot& s = monitor.snapshot();
    const auto power = energy::machinePower(s);
    showTextIfAny(watts_, QString::fromStdString(Fmt::watts(power)));
    showTextIfAny(sentence_, shown(energy::powerSentence(s.battery, power)));

    // Power now, per app.
    QString users;
    bool estimated = false;
    for (const auto& user : energy::powerNow(s)) {
        const auto group =
            std::find_if(s.groups.begin(), s.groups.end(), [&](const AppGroup& g) { return g.id == user.key; });
        const bool guess = group != s.groups.end() && sections::powerEstimated(*group);
        estimated = estimated || guess;
        users += line(user.name, (guess ? "\u2248 " : "") + Fmt::watts(user.watts));
    }
    showTextIfAny(powerNow_, users.isEmpty() ? shown(energy::powerNowEmptyText(s)).toHtmlEscaped() : users);
    showTextIfAny(estimateNote_, estimated ? shown(sections::sectionText::estimatedPower) : QString());

    // Battery.
    const BatteryStats& b = s.battery;
    QString battery;
    if (b.present) {
        battery += QString("%1 <b>%2</b>")
                       .arg(symbolGlyph(energy::batterySymbol(b)),
                            QString::fromStdString(Fmt::percent(static_cast<int>(std::lround(b.percent)))));
        if (b.minutesRemaining && !b.onAC)
            battery += " \u00b7 " + QString::fromStdString(Fmt::minutes(*b.minutesRemaining)) + " left";
        battery += "<br>";
        for (const auto& text : {energy::powerSourceLine(b), energy::chargeLimitNote(b), energy::healthSentence(b)})
            if (text) battery += shown(*text).toHtmlEscaped() + "<br>";
        if (b.cycleCount) battery += QString("Cycle count %1<br>").arg(*b.cycleCount);
    } else {
        battery = shown(sections::sectionText::noBattery).toHtmlEscaped();
    }
    showTextIfAny(batteryText_, battery);

    // Per-app energy is an estimate where the system cannot measure it per process.
    const std::string mark = sections::perAppEnergyEstimated() ? "\u2248 " : "";

    // Since unplugged.
    const auto start = monitor.batterySessionStart();
    drain_->setVisible(b.present);
    if (b.present && start) {
        showTextIfAny(drainSubtitle_, shown(energy::sinceUnpluggedSubtitle(*start)));
        const auto shares = energy::drainShares(monitor.batterySessionEnergy());
        QString drain;
        for (const auto& share : shares)
            drain += line(share.name, mark + Fmt::energy(share.joules), energy::shareSentence(share.share));
        showTextIfAny(drainText_, drain.isEmpty() ? shown(energy::drainMeasuring).toHtmlEscaped() : drain);
    } else {
        showTextIfAny(drainSubtitle_, {});
        showTextIfAny(drainText_,
                      shown(b.present ? sections::sectionText::onAdapterNoSession : sections::sectionText::noBattery)
                          .toHtmlEscaped());
    }

    // Today. Without any power reading no app's energy was measured: not 0.
    QString today;
    const bool measured = energy::energyMeasured(today_);
    for (const AppTotal& total : today_)
        today += line(total.name, measured ? mark + Fmt::energy(total.energy) : std::string(energy::notMeasured),
                      energy::cpuTimeText(total));
    showTextIfAny(todayText_, today.isEmpty() ? shown(energy::todayEmpty).toHtmlEscaped() : today);
}

SectionPage* makeEnergyPage(AppContext& context, QWidget* parent) { return new EnergyPage(context, parent); }

}  // namespace qm::app
