#include "app/widgets/SidebarDelegate.h"

#include <QApplication>
#include <QPainter>

#include "app/widgets/Sparkline.h"
#include "app/widgets/Tones.h"
#include "engine/Monitor.h"

namespace qm::app {

namespace {
Section sectionAt(const QModelIndex& index) {
    const int row = index.row();
    return row >= 0 && row < static_cast<int>(allSections.size()) ? allSections[static_cast<size_t>(row)]
                                                                  : Section::overview;
}

QColor sectionColor(Section section) {
    switch (section) {
        case Section::overview: return cpuColor();
        case Section::apps: return networkColor();
        case Section::memory: return memoryColor();
        case Section::energy: return powerColor();
        case Section::sensors: return verdictColor(Insights::Tone::bad);
        case Section::network: return networkColor();
        case Section::timeline: return diskColor();
    }
    return cpuColor();
}

// The series drawn beside the figure, and the scale it is drawn against (0: its own
// largest value). The network's two directions need the row's whole width for words.
const std::vector<double>* seriesOf(const Monitor& monitor, Section section, double& scale) {
    scale = 0;
    switch (section) {
        case Section::overview: scale = 100; return &monitor.cpuSeries();
        case Section::memory: return &monitor.memorySeries();
        case Section::energy: return &monitor.powerSeries();
        case Section::sensors: return &monitor.tempSeries();
        default: return nullptr;
    }
}
}  // namespace

SidebarDelegate::SidebarDelegate(const Monitor& monitor, QObject* parent)
    : QStyledItemDelegate(parent), monitor_(monitor) {}

QString SidebarDelegate::symbol(Section section) {
    switch (section) {
        case Section::overview: return QString::fromUtf8("\u25C9");  // ◉
        case Section::apps: return QString::fromUtf8("\u25A6");      // ▦
        case Section::memory: return QString::fromUtf8("\u25A4");    // ▤
        case Section::energy: return QString::fromUtf8("\u26A1");    // ⚡
        case Section::sensors: return QString::fromUtf8("\u2668");   // ♨
        case Section::network: return QString::fromUtf8("\u21C5");   // ⇅
        case Section::timeline: return QString::fromUtf8("\u25F7");  // ◷
    }
    return {};
}

QSize SidebarDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
    const QFontMetrics metrics(option.font);
    return {option.rect.width(), 2 * metrics.height() + 14};
}

void SidebarDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyleOptionViewItem plain = option;
    initStyleOption(&plain, index);
    plain.text.clear();
    plain.icon = {};
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &plain, painter, widget);  // background and selection

    const Section section = sectionAt(index);
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const QPalette& palette = option.palette;
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    QColor quiet = text;
    quiet.setAlphaF(0.7F);
    const QRect area = option.rect.adjusted(10, 6, -8, -6);
    const QFontMetrics metrics(option.font);

    painter->save();
    QFont symbolFont = option.font;
    symbolFont.setPointSizeF(option.font.pointSizeF() * 1.4);
    painter->setFont(symbolFont);
    painter->setPen(selected ? text : sectionColor(section));
    const QRect symbolBox(area.left(), area.top(), 22, area.height());
    painter->drawText(symbolBox, Qt::AlignCenter, symbol(section));

    const int left = symbolBox.right() + 8;
    QFont titleFont = option.font;
    titleFont.setBold(true);
    painter->setFont(titleFont);
    painter->setPen(text);
    const QRect titleBox(left, area.top(), area.right() - left, metrics.height());
    painter->drawText(titleBox, Qt::AlignLeft | Qt::AlignVCenter,
                      QFontMetrics(titleFont).elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight,
                                                         titleBox.width()));

    const QString figure = index.data(figureRole).toString();
    if (!figure.isEmpty()) {
        double scale = 0;
        const std::vector<double>* series = seriesOf(monitor_, section, scale);
        const int trendWidth = series && series->size() > 1 ? 44 : 0;
        painter->setFont(option.font);
        painter->setPen(quiet);
        const QRect figureBox(left, titleBox.bottom() + 2, area.right() - left - trendWidth - 4, metrics.height());
        painter->drawText(figureBox, Qt::AlignLeft | Qt::AlignVCenter,
                          metrics.elidedText(figure, Qt::ElideRight, figureBox.width()));
        if (trendWidth > 0)
            paintSparkline(*painter,
                           QRectF(area.right() - trendWidth, figureBox.top() + 1, trendWidth, figureBox.height() - 2),
                           *series, scale, selected ? text : sectionColor(section));
    }
    painter->restore();
}

}  // namespace qm::app
