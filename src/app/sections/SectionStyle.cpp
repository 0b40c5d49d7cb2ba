#include "app/sections/SectionStyle.h"

#include "app/widgets/AppTheme.h"

#include <QApplication>
#include <QLabel>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>

#include "fmt/PlatformWording.h"

namespace qm::app {

QString shown(const std::string& text) { return QString::fromStdString(forThisPlatform(text)); }

void setTextIfChanged(QLabel* label, const QString& text) {
    if (label->text() != text) label->setText(text);
}

void showTextIfAny(QLabel* label, const QString& text) {
    setTextIfChanged(label, text);
    label->setVisible(!text.isEmpty());
}

QLabel* makePageTitle(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 1.6);
    font.setBold(true);
    label->setFont(font);
    label->setObjectName("pageTitle");
    return label;
}

ScrollingPage makeScrollingPage(QWidget* page, const QString& title) {
    auto* outer = new QVBoxLayout(page);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(page);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setAccessibleName(title);
    outer->addWidget(scroll);
    auto* content = new QWidget(scroll);
    scroll->setWidget(content);
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addWidget(makePageTitle(title, content));
    return {content, layout};
}

QLabel* makeText(const QString& text, QWidget* parent, bool secondary) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (secondary) markQuiet(label);
    return label;
}

Card::Card(const QString& heading, QWidget* parent) : QFrame(parent) {
    setFrameShape(QFrame::StyledPanel);
    setObjectName("card");
    body_ = new QVBoxLayout(this);
    body_->setContentsMargins(12, 10, 12, 12);
    body_->setSpacing(6);
    heading_ = new QLabel(heading, this);
    QFont font = heading_->font();
    font.setBold(true);
    heading_->setFont(font);
    heading_->setVisible(!heading.isEmpty());
    body_->addWidget(heading_);
}

}  // namespace qm::app

namespace qm::app {
QString symbolGlyph(const std::string& symbol) {
    // Only glyphs common fonts carry; the rest are drawn as icons (symbolIcon).
    if (symbol == "bolt.badge.clock") return QString::fromUtf8("\u26a1");
    return {};
}

QIcon symbolIcon(const std::string& symbol) {
    QStyle* style = QApplication::style();
    if (symbol == "info.circle.fill") return style->standardIcon(QStyle::SP_MessageBoxInformation);
    if (symbol == "arrow.up.circle.fill") return style->standardIcon(QStyle::SP_ArrowUp);
    if (symbol == "hourglass") return style->standardIcon(QStyle::SP_BrowserReload);
    if (symbol == "clock.badge.checkmark") return style->standardIcon(QStyle::SP_DialogApplyButton);
    return {};
}

QString visibleText(const QWidget* widget) {
    QStringList lines;
    for (const QLabel* label : widget->findChildren<QLabel*>())
        if (label->isVisibleTo(widget) && !label->text().isEmpty()) lines << label->text();
    return lines.join('\n');
}
}  // namespace qm::app
