#include "app/sections/MemoryPage.h"

#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScrollArea>
#include <QVBoxLayout>

#include "app/sections/MemoryPartsSeries.h"
#include "app/sections/SectionStyle.h"
#include "app/widgets/SeriesChart.h"
#include "fmt/Fmt.h"
#include "knowledge/Insights.h"
#include "shell/MachineSections.h"

namespace qm::app {

namespace {
int levelOf(PressureLevel level) {
    switch (level) {
        case PressureLevel::normal: return 0;
        case PressureLevel::warning: return 1;
        case PressureLevel::critical: return 2;
    }
    return 0;
}

}  // namespace

BreakdownBar::BreakdownBar(QWidget* parent) : QWidget(parent) { setMinimumHeight(18); }

void BreakdownBar::setParts(std::vector<std::pair<double, QColor>> parts) {
    if (parts == parts_) return;
    parts_ = std::move(parts);
    update();
}

void BreakdownBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath clip;
    clip.addRoundedRect(r, 5, 5);
    p.setClipPath(clip);
    p.fillRect(r, palette().color(QPalette::AlternateBase));
    double x = r.left();
    for (const auto& [share, color] : parts_) {
        const double w = share * r.width();
        p.fillRect(QRectF(x, r.top(), w, r.height()), color);
        x += w;
    }
}

MemoryPage::MemoryPage(AppContext& context, QWidget* parent) : SectionPage(Section::memory, context, parent) {
    const ScrollingPage page = makeScrollingPage(this, QString::fromUtf8(sections::sectionText::memoryTitle));
    QWidget* content = page.content;
    QVBoxLayout* layout = page.layout;

    auto* breakdown = new Card(QString::fromUtf8(sections::sectionText::breakdownTitle), content);
    used_ = makeText({}, breakdown);
    auto* usedNote = makeText(shown(sections::memoryUsedNote().value_or("")), breakdown, true);
    usedNote->setObjectName("memoryUsedNote");
    usedNote->setWordWrap(true);
    usedNote->setVisible(sections::memoryUsedNote().has_value());
    bar_ = new BreakdownBar(breakdown);
    legend_ = makeText({}, breakdown);
    legend_->setTextFormat(Qt::RichText);
    chart_ = new SeriesChart(breakdown);
    chart_->setObjectName("memoryChart");
    chart_->setStacked(true);
    chart_->setMinimumHeight(140);
    chart_->setValueText([](double v) { return QString::fromStdString(Fmt::bytes(v)); });
    for (QWidget* w : {static_cast<QWidget*>(used_), static_cast<QWidget*>(usedNote), static_cast<QWidget*>(bar_),
                       static_cast<QWidget*>(legend_), static_cast<QWidget*>(chart_)})
        breakdown->body()->addWidget(w);
    layout->addWidget(breakdown);

    auto* row = new QHBoxLayout;
    auto* pressureCard = new Card(QString::fromUtf8(sections::sectionText::pressureTitle), content);
    pressure_ = makeText({}, pressureCard);
    pressure_->setTextFormat(Qt::RichText);
    pressureText_ = makeText({}, pressureCard, true);
    pressureCard->body()->addWidget(pressure_);
    pressureCard->body()->addWidget(pressureText_);
    pressureCard->body()->addStretch(1);
    auto* swapCard = new Card(QString::fromUtf8(sections::sectionText::swapTitle), content);
    swap_ = makeText({}, swapCard);
    swapCard->body()->addWidget(swap_);
    swapCard->body()->addStretch(1);
    auto* topCard = new Card(QString::fromUtf8(sections::sectionText::topMemoryTitle), content);
    top_ = makeText({}, topCard);
    top_->setTextFormat(Qt::RichText);
    topCard->body()->addWidget(top_);
    row->addWidget(pressureCard, 2);
    row->addWidget(swapCard, 1);
    row->addWidget(topCard, 2);
    layout->addLayout(row);

    auto* advisorCard = new Card({}, content);
    advisorCard->setObjectName("advisorCard");
    auto* head = new QHBoxLayout;
    advisorSymbol_ = new QLabel(advisorCard);
    QFont big = advisorSymbol_->font();
    big.setPointSizeF(big.pointSizeF() * 1.8);
    advisorSymbol_->setFont(big);
    advisorTitle_ = makeText({}, advisorCard);
    QFont bold = advisorTitle_->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    advisorTitle_->setFont(bold);
    head->addWidget(advisorSymbol_);
    head->addWidget(advisorTitle_, 1);
    advisorCard->body()->addLayout(head);
    advisorText_ = makeText({}, advisorCard);
    tiles_ = makeText({}, advisorCard);
    tiles_->setTextFormat(Qt::RichText);
    caption_ = makeText(shown(advisor::tilesCaption), advisorCard, true);
    advisorCard->body()->addWidget(advisorText_);
    advisorCard->body()->addWidget(tiles_);
    advisorCard->body()->addWidget(caption_);
    layout->addWidget(advisorCard);
    layout->addStretch(1);

    if (context.memoryParts) {
        parts_ = context.memoryParts;
    } else {
        ownParts_ = std::make_unique<MemoryPartsSeries>(*context.monitor);
        parts_ = ownParts_.get();
    }
    showAdvisor();
}

MemoryPage::~MemoryPage() = default;

void MemoryPage::activated() {
    HistoryStore* history = context().history;
    if (!history) return;
    QPointer<MemoryPage> self(this);
    history->memoryProfile(advisor::profileDays, [self](int64_t minutes, double fraction, double swap, double used) {
        if (self) self->setAdvisor(Advisor{minutes, fraction, swap, used});
    });
}

void MemoryPage::setAdvisor(std::optional<Advisor> advisor) {
    advisor_ = advisor;
    showAdvisor();
}

void MemoryPage::showAdvisor() {
    const MemoryStats& memory = context().monitor->snapshot().memory;
    const auto card = advisor::card(advisor_, sections::installedGB(memory.total));
    Insights::Tone tone = Insights::Tone::secondary;
    if (card.verdict == advisor::Verdict::plenty) tone = Insights::Tone::good;
    if (card.verdict == advisor::Verdict::enough) tone = Insights::Tone::good;
    if (card.verdict == advisor::Verdict::upgrade) tone = Insights::Tone::warn;
    advisorSymbol_->setPixmap(symbolIcon(card.symbol).pixmap(28, 28));
    QPalette pal = advisorTitle_->palette();
    pal.setColor(QPalette::WindowText, verdictColor(tone));
    advisorTitle_->setPalette(pal);
    setTextIfChanged(advisorTitle_, shown(card.title));
    setTextIfChanged(advisorText_, shown(card.text));
    QString tiles;
    for (const auto& tile : card.tiles)
        tiles += QString("<td style=\"padding-right:24px\"><span style=\"color:gray\">%1</span><br><b>%2</b></td>")
                     .arg(shown(tile.title).toHtmlEscaped(), shown(tile.value).toHtmlEscaped());
    setTextIfChanged(tiles_, tiles.isEmpty() ? QString() : "<table><tr>" + tiles + "</tr></table>");
    tiles_->setVisible(!card.tiles.empty());
    caption_->setVisible(!card.tiles.empty());
}

void MemoryPage::refresh() {
    const Snapshot& snapshot = context().monitor->snapshot();
    const MemoryStats& m = snapshot.memory;
    setTextIfChanged(used_, QString::fromStdString(sections::memoryUsedLine(m)));
    const auto parts = sections::memoryParts(m);
    std::vector<std::pair<double, QColor>> shares;
    QString legend;
    std::vector<SeriesChart::Series> series;
    for (size_t i = 0; i < parts.size(); ++i) {
        shares.emplace_back(parts[i].share, memoryPartColor(i));
        legend += QString("<span style=\"color:%1\">\u25a0</span> %2 <b>%3</b>&nbsp;&nbsp;&nbsp;")
                      .arg(memoryPartColor(i).name(), QString::fromStdString(parts[i].label),
                           QString::fromStdString(Fmt::bytes(static_cast<double>(parts[i].bytes))));
        const auto& recorded = parts_->series();
        series.push_back({QString::fromStdString(parts[i].label), memoryPartColor(i),
                          i < recorded.size() ? recorded[i] : std::vector<double>{}});
    }
    bar_->setParts(std::move(shares));
    setTextIfChanged(legend_, legend);
    chart_->setFixedMaximum(m.total > 0 ? std::optional<double>(static_cast<double>(m.total)) : std::nullopt);
    chart_->setSeries(std::move(series));

    const QColor color = severityColor(levelOf(m.pressureLevel));
    setTextIfChanged(pressure_,
                     QString("<span style=\"color:%1\">\u25cf</span> <b>%2</b>")
                         .arg(color.name(), QString::fromStdString(sections::pressureLine(m)).toHtmlEscaped()));
    setTextIfChanged(pressureText_, shown(Insights::pressureExplanation(m.pressureLevel)));
    setTextIfChanged(swap_, QString::fromStdString(sections::swapLine(m)));

    QString top;
    for (const AppGroup* group : sections::topByMemory(snapshot, 5))
        top += QString("%1 <b>%2</b><br>")
                   .arg(QString::fromStdString(group->name).toHtmlEscaped(),
                        QString::fromStdString(Fmt::bytes(static_cast<double>(group->memory))));
    setTextIfChanged(top_, top);
    showAdvisor();
}

QString MemoryPage::advisorTitle() const { return advisorTitle_->text(); }
QString MemoryPage::advisorText() const { return advisorText_->text(); }

SectionPage* makeMemoryPage(AppContext& context, QWidget* parent) { return new MemoryPage(context, parent); }

}  // namespace qm::app
