#include "app/sections/SectionPage.h"

#include <QLabel>
#include <QVBoxLayout>

namespace qm::app {

SectionPage::SectionPage(Section section, AppContext& context, QWidget* parent)
    : QWidget(parent), section_(section), context_(context) {}

PlaceholderPage::PlaceholderPage(Section section, AppContext& context, QWidget* parent)
    : SectionPage(section, context, parent) {
    auto* layout = new QVBoxLayout(this);
    auto* label = new QLabel(QString::fromStdString(title(section)), this);
    label->setAlignment(Qt::AlignCenter);
    layout->addWidget(label);
}

}  // namespace qm::app
