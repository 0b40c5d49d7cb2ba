#include "app/sections/ProcessChoiceDialog.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "shell/ProcessQuit.h"

namespace qm::app {

ProcessChoiceDialog::ProcessChoiceDialog(const Texts& texts, const std::vector<Line>& lines, QWidget* parent)
    : QDialog(parent) {
    setObjectName("processChoice");
    setWindowTitle(texts.heading);
    auto* layout = new QVBoxLayout(this);
    auto* heading = new QLabel("<b>" + texts.heading.toHtmlEscaped() + "</b>", this);
    layout->addWidget(heading);
    auto* question = new QLabel(texts.question, this);
    question->setWordWrap(true);
    layout->addWidget(question);
    if (!texts.warning.isEmpty()) {
        auto* warning = new QLabel(texts.warning, this);
        warning->setWordWrap(true);
        layout->addWidget(warning);
    }

    list_ = new QListWidget(this);
    list_->setAccessibleName(texts.question);
    size_t choosable = 0;
    for (const Line& line : lines) {
        auto* item = new QListWidgetItem(line.text, list_);
        Qt::ItemFlags flags = Qt::ItemIsUserCheckable;
        if (line.choosable) flags |= Qt::ItemIsEnabled;
        item->setFlags(flags);
        item->setCheckState(line.choosable && line.chosen ? Qt::Checked : Qt::Unchecked);
        initial_.push_back(line.choosable && line.chosen);
        if (line.choosable) ++choosable;
    }
    layout->addWidget(list_);
    if (choosable > 1) {
        all_ = new QCheckBox(QString::fromStdString(quitText::allOf(choosable)), this);
        layout->addWidget(all_);
        // All, or back to the first choice: never a guess in between.
        connect(all_, &QCheckBox::toggled, this, [this](bool all) {
            QSignalBlocker quiet(list_);
            for (int i = 0; i < list_->count(); ++i) {
                QListWidgetItem* item = list_->item(i);
                if (!(item->flags() & Qt::ItemIsEnabled)) continue;
                item->setCheckState(all || initial_[static_cast<size_t>(i)] ? Qt::Checked : Qt::Unchecked);
            }
            updateButtons();
        });
    }
    connect(list_, &QListWidget::itemChanged, this, [this] { updateButtons(); });

    auto* buttons = new QDialogButtonBox(this);
    cancel_ = buttons->addButton(QDialogButtonBox::Cancel);
    confirm_ = buttons->addButton(texts.confirm,
                                  texts.destructive ? QDialogButtonBox::DestructiveRole : QDialogButtonBox::AcceptRole);
    // Cancel is what Return does: ending processes takes a deliberate press.
    cancel_->setDefault(true);
    cancel_->setAutoDefault(true);
    confirm_->setAutoDefault(false);
    connect(cancel_, &QPushButton::clicked, this, &QDialog::reject);
    connect(confirm_, &QPushButton::clicked, this, &QDialog::accept);
    layout->addWidget(buttons);
    updateButtons();
}

std::vector<size_t> ProcessChoiceDialog::chosen() const {
    std::vector<size_t> indexes;
    for (int i = 0; i < list_->count(); ++i) {
        const QListWidgetItem* item = list_->item(i);
        if ((item->flags() & Qt::ItemIsEnabled) && item->checkState() == Qt::Checked)
            indexes.push_back(static_cast<size_t>(i));
    }
    return indexes;
}

void ProcessChoiceDialog::updateButtons() {
    const size_t count = chosen().size();
    confirm_->setEnabled(count > 0);
    if (!all_) return;
    size_t choosable = 0;
    for (int i = 0; i < list_->count(); ++i)
        if (list_->item(i)->flags() & Qt::ItemIsEnabled) ++choosable;
    QSignalBlocker quiet(all_);
    all_->setChecked(count == choosable);
}

}  // namespace qm::app
