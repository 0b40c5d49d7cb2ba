// Alerts: the four kinds of notification, the CPU level and how long it must last,
// and the request for permission to notify.
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QPushButton>

#include "app/onboarding/OnboardingWindow.h"
#include "app/settings/FormParts.h"
#include "app/settings/SettingsWindow.h"
#include "core/Defaults.h"
#include "fmt/PlatformWording.h"
#include "history/AlertCenter.h"
#include "shell/SettingRead.h"

namespace qm::app {

namespace {

class AlertsPage : public SettingsPage {
public:
    AlertsPage(AppContext& context, QWidget* parent) : SettingsPage(parent), context_(context) {
        setObjectName("alertsPage");
        auto* form = new QFormLayout(this);
        form->addRow(new QLabel("Notify me when", this));
        for (const AlertSwitch& toggle : alertSwitches()) {
            auto* box = new QCheckBox(QString::fromStdString(forThisPlatform(toggle.label)), this);
            box->setObjectName(toggle.key);
            const std::string key = toggle.key;
            connect(box, &QCheckBox::clicked, this, [this, key](bool on) { context_.defaults->set(key, on); });
            boxes_.push_back(box);
            form->addRow(box);
        }
        threshold_ = new QDoubleSpinBox(this);
        threshold_->setObjectName("cpuThreshold");
        threshold_->setRange(10, 1600);
        threshold_->setDecimals(0);
        threshold_->setSingleStep(10);
        threshold_->setSuffix(" %");
        connect(threshold_, &QDoubleSpinBox::editingFinished, this,
                [this] { context_.defaults->set("alert.highCPU.threshold", threshold_->value()); });
        form->addRow("CPU above", threshold_);
        minutes_ = new QDoubleSpinBox(this);
        minutes_->setObjectName("cpuMinutes");
        minutes_->setRange(1, 60);
        minutes_->setDecimals(0);
        minutes_->setSuffix(" min");
        connect(minutes_, &QDoubleSpinBox::editingFinished, this,
                [this] { context_.defaults->set("alert.highCPU.minutes", minutes_->value()); });
        form->addRow("for at least", minutes_);
        form->addRow(footnote("100 % is one full core.", this));
        auto* allow = new QPushButton("Allow notifications\u2026", this);
        allow->setObjectName("allowNotifications");
        connect(allow, &QPushButton::clicked, this, [] {
            if (OnboardingWindow::requestNotifications()) OnboardingWindow::requestNotifications()();
        });
        allow->setEnabled(static_cast<bool>(OnboardingWindow::requestNotifications()));
        form->addRow(allow);
        if (!context.recording)
            form->addRow(
                footnote("The quillmere record service records the history, so it sends the notifications.", this));
        load();
    }

    void load() override {
        const auto& toggles = alertSwitches();
        for (size_t i = 0; i < toggles.size() && i < boxes_.size(); ++i)
            boxes_[i]->setChecked(storedBool(*context_.defaults, toggles[i].key).value_or(true));
        const Defaults& d = *context_.defaults;
        threshold_->setValue(d.contains("alert.highCPU.threshold") ? d.doubleValue("alert.highCPU.threshold") : 90.0);
        minutes_->setValue(d.contains("alert.highCPU.minutes") ? d.doubleValue("alert.highCPU.minutes") : 3.0);
    }

private:
    AppContext& context_;
    std::vector<QCheckBox*> boxes_;
    QDoubleSpinBox* threshold_ = nullptr;
    QDoubleSpinBox* minutes_ = nullptr;
};

}  // namespace

SettingsPage* makeAlertsPage(AppContext& context, QWidget* parent) { return new AlertsPage(context, parent); }

}  // namespace qm::app
