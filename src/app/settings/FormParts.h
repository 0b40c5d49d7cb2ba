// Small pieces every settings page uses: a grey footnote under a control.
#pragma once

#include <QLabel>
#include <string>

namespace qm::app {

inline QLabel* footnote(const std::string& text, QWidget* parent) {
    auto* label = new QLabel(QString::fromStdString(text), parent);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    label->setStyleSheet("color: #6e6e73;");
    return label;
}

}  // namespace qm::app
