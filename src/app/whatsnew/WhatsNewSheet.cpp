#include "app/whatsnew/WhatsNewSheet.h"

#include <QColor>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "fmt/PlatformWording.h"

namespace qm::app {

WhatsNewSheet::WhatsNewSheet(const ReleaseNote& note, QWidget* parent) : QDialog(parent) {
    setObjectName("whatsNew");
    setWindowTitle(WhatsNew::sheetTitle);
    setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(28, 24, 28, 20);
    layout->setSpacing(14);
    auto* title = new QLabel(WhatsNew::sheetTitle, this);
    QFont font = title->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.6);
    title->setFont(font);
    title->setAlignment(Qt::AlignCenter);
    layout->addWidget(title);
    auto* version = new QLabel(QString::fromStdString(WhatsNew::versionLine(note)), this);
    version->setAlignment(Qt::AlignCenter);
    layout->addWidget(version);

    auto* rows = new QGridLayout;
    rows->setHorizontalSpacing(14);
    rows->setVerticalSpacing(12);
    int row = 0;
    for (const auto& item : note.items) {
        auto* mark = new QLabel("\u25CF", this);
        QFont markFont = mark->font();
        markFont.setPointSizeF(markFont.pointSizeF() * 1.8);
        mark->setFont(markFont);
        // The note names accents ("blue", "purple", ...), which QColor knows by name.
        const QColor color(QString::fromStdString(item.color));
        mark->setStyleSheet(QString("color: %1;").arg(color.isValid() ? color.name() : QString("gray")));
        auto* text = new QLabel(this);
        text->setWordWrap(true);
        text->setText(QString("<b>%1</b><br>%2")
                          .arg(QString::fromStdString(forThisPlatform(item.title)).toHtmlEscaped(),
                               QString::fromStdString(forThisPlatform(item.detail)).toHtmlEscaped()));
        rows->addWidget(mark, row, 0, Qt::AlignTop);
        rows->addWidget(text, row, 1);
        ++row;
    }
    layout->addLayout(rows);
    auto* button = new QPushButton("Continue", this);
    button->setObjectName("continue");
    button->setDefault(true);
    connect(button, &QPushButton::clicked, this, &QDialog::accept);
    layout->addWidget(button, 0, Qt::AlignCenter);
    setFixedWidth(460);
}

}  // namespace qm::app
