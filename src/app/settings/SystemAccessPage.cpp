// System access: the read-only helper's row in its current state, with the button
// that state calls for. Registering can wait for an administrator's password, so it
// runs off the GUI thread.
#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>
#include <thread>

#include "app/settings/FormParts.h"
#include "app/settings/SettingsWindow.h"
#include "app/widgets/Tones.h"
#include "processes/HelperInstaller.h"
#include "shell/SettingsText.h"

namespace qm::app {

namespace {

class SystemAccessPage : public SettingsPage {
public:
    SystemAccessPage(AppContext&, QWidget* parent) : SettingsPage(parent) {
        setObjectName("systemAccessPage");
        auto* layout = new QVBoxLayout(this);
        title_ = new QLabel(this);
        QFont font = title_->font();
        font.setBold(true);
        title_->setFont(font);
        layout->addWidget(title_);
        note_ = new QLabel(this);
        note_->setWordWrap(true);
        layout->addWidget(note_);
        status_ = new QLabel(this);
        status_->setObjectName("helperStatus");
        layout->addWidget(status_);
        command_ = new QLabel(this);
        command_->setObjectName("helperCommand");
        command_->setWordWrap(true);
        command_->setTextInteractionFlags(Qt::TextSelectableByMouse);
        layout->addWidget(command_);
        buttons_ = new QHBoxLayout;
        layout->addLayout(buttons_);
        layout->addStretch(1);
        load();
    }

    void load() override { present(HelperInstaller::state()); }

private:
    void present(HelperInstaller::State state) {
        const HelperRow row = helperRow(state, thisDesktop());
        title_->setText(QString::fromStdString(row.title));
        note_->setText(QString::fromStdString(row.note));
        status_->setText(QString(row.ok ? "\u2714 " : "\u26A0 ") + QString::fromStdString(row.status));
        status_->setStyleSheet(
            QString("color: %1;").arg(verdictColor(row.ok ? Insights::Tone::good : Insights::Tone::warn).name()));
        // Without a graphical password prompt the same step can be run in a terminal.
        const std::string command =
            state == HelperInstaller::State::notRegistered ? HelperInstaller::enableCommand() : std::string();
        command_->setText(command.empty() ? QString()
                                          : "Or run in a terminal: <code>" +
                                                QString::fromStdString(command).toHtmlEscaped() + "</code>");
        command_->setVisible(!command.empty());
        while (QLayoutItem* item = buttons_->takeAt(0)) {
            delete item->widget();
            delete item;
        }
        for (HelperRow::Button button : row.buttons) {
            auto* push = new QPushButton(QString::fromStdString(buttonTitle(button)), this);
            push->setObjectName("helperButton");
            connect(push, &QPushButton::clicked, this, [this, button, push] {
                push->setEnabled(false);
                act(button);
            });
            buttons_->addWidget(push);
        }
        buttons_->addStretch(1);
    }

    void act(HelperRow::Button button) {
        QPointer<SystemAccessPage> self(this);
        std::thread([self, button] {
            if (button == HelperRow::Button::remove)
                HelperInstaller::uninstall();
            else
                HelperInstaller::install();
            const HelperInstaller::State state = HelperInstaller::state();
            QMetaObject::invokeMethod(
                qApp,
                [self, state] {
                if (self) self->present(state);
                },
                Qt::QueuedConnection);
        }).detach();
    }

    QLabel* title_ = nullptr;
    QLabel* note_ = nullptr;
    QLabel* status_ = nullptr;
    QLabel* command_ = nullptr;
    QHBoxLayout* buttons_ = nullptr;
};

}  // namespace

SettingsPage* makeSystemAccessPage(AppContext& context, QWidget* parent) {
    return new SystemAccessPage(context, parent);
}

}  // namespace qm::app
