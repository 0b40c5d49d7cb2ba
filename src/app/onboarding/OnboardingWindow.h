// The first-run window: what Quillmere records and where, a button that asks for
// permission to notify, and "Start Quillmere", after which the caller sets
// "onboarded" and the menu-bar item appears. While it shows, the sampler runs live
// ("onboarding" in the demand set).
#pragma once

#include <QDialog>
#include <functional>

#include "app/AppContext.h"

namespace qm::app {

class OnboardingWindow : public QDialog {
    Q_OBJECT
public:
    OnboardingWindow(AppContext& context, QWidget* parent = nullptr);
    ~OnboardingWindow() override;

    // Asks for notification permission; installed by whoever owns the alerts.
    static std::function<void()>& requestNotifications();

signals:
    void completed();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    AppContext& context_;
};

}  // namespace qm::app
