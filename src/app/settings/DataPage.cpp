// Data: which process records, how much room the history takes, erasing it (after a
// confirmation) and exporting it as JSON.
#include <QDateTime>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/settings/FormParts.h"
#include "app/settings/SettingsWindow.h"
#include "fmt/Fmt.h"
#include "history/HistoryExport.h"
#include "shell/SettingsText.h"

namespace qm::app {

namespace {

class DataPage : public SettingsPage {
public:
    DataPage(AppContext& context, QWidget* parent) : SettingsPage(parent), context_(context) {
        setObjectName("dataPage");
        auto* layout = new QVBoxLayout(this);
        recorder_ = new QLabel(this);
        recorder_->setObjectName("recorder");
        recorder_->setWordWrap(true);
        layout->addWidget(recorder_);
        path_ = new QLabel(this);
        path_->setTextInteractionFlags(Qt::TextSelectableByMouse);
        path_->setWordWrap(true);
        layout->addWidget(path_);
        size_ = new QLabel(this);
        size_->setObjectName("historySize");
        layout->addWidget(size_);
        layout->addWidget(footnote("Apps are kept for 31 days, the machine's figures and events for a year.", this));
        auto* buttons = new QHBoxLayout;
        auto* exportButton = new QPushButton("Export\u2026", this);
        exportButton->setObjectName("export");
        auto* erase = new QPushButton("Erase History\u2026", this);
        erase->setObjectName("erase");
        buttons->addWidget(exportButton);
        buttons->addWidget(erase);
        buttons->addStretch(1);
        layout->addLayout(buttons);
        layout->addStretch(1);
        connect(erase, &QPushButton::clicked, this, [this] { confirmErase(); });
        connect(exportButton, &QPushButton::clicked, this, [this] { exportHistory(); });
        exportButton->setEnabled(context_.history != nullptr);
        erase->setEnabled(context_.history != nullptr);
        load();
    }

    void load() override {
        recorder_->setText(QString::fromStdString(recorderLine(context_.recording, otherRecorderPid())));
        if (!context_.history) {
            path_->setText("No history database could be opened.");
            size_->clear();
            return;
        }
        path_->setText("History: " + QString::fromStdString(context_.history->path()));
        size_->setText("Size on disk: " +
                       QString::fromStdString(Fmt::bytes(static_cast<double>(context_.history->fileSize()))));
    }

    // Shows the confirmation and erases when the user agrees; `answer` stands in for
    // the user in tests.
    void confirmErase() {
        QMessageBox box(QMessageBox::Warning, "Erase History", "Erase all recorded history?", QMessageBox::Cancel,
                        this);
        box.setObjectName("eraseConfirmation");
        box.setInformativeText("Every minute, app row and event recorded so far is deleted. This cannot be undone.");
        QPushButton* eraseButton = box.addButton("Erase", QMessageBox::DestructiveRole);
        box.setDefaultButton(QMessageBox::Cancel);
        box.exec();
        if (box.clickedButton() != eraseButton) return;
        context_.history->eraseAll();
        context_.history->waitUntilIdle();
        load();
    }

    void exportHistory() {
        const QString name =
            QFileDialog::getSaveFileName(this, "Export History",
                                         "quillmere-history-" + QDate::currentDate().toString(Qt::ISODate) + ".json",
                                         "JSON (*.json)");
        if (name.isEmpty()) return;
        HistoryStore& store = *context_.history;
        const Date now = static_cast<Date>(QDateTime::currentSecsSinceEpoch());
        const nlohmann::json out = historyJSON(store.systemMinutesSync(0, now, 60), store.appMinutesSync(0, now),
                                               store.eventsSync(0, now, -1));
        QFile file(name);
        const std::string text = out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(text.data(), static_cast<qint64>(text.size())) != static_cast<qint64>(text.size()))
            QMessageBox::warning(this, "Export History", "Could not write " + name + ": " + file.errorString());
    }

private:
    AppContext& context_;
    QLabel* recorder_ = nullptr;
    QLabel* path_ = nullptr;
    QLabel* size_ = nullptr;
};

}  // namespace

SettingsPage* makeDataPage(AppContext& context, QWidget* parent) { return new DataPage(context, parent); }

}  // namespace qm::app
