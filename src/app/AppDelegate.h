// The application's launch and quit logic. Launch, in order: migrate the menu-bar
// settings, apply the Dock preference, start the Monitor, set up the alerts (when this
// process records), put the menu-bar item in place, follow settings changes, and open
// the main window unless the user starts in the menu bar only. Quitting: Ctrl+Q (⌘Q)
// hides to the background while the menu-bar item keeps the program reachable;
// Ctrl+Alt+Q (⌥⌘Q), "Quit Quillmere" in the item's menu and the system's own quits
// (log-out, shutdown, SIGTERM) end it, after the partial minute is saved.
#pragma once

#include <QObject>
#include <QPointer>
#include <memory>
#include <optional>

#include "app/AppContext.h"
#include "app/menubar/StatusItem.h"
#include "shell/InstanceRequest.h"
#include "shell/QuitPolicy.h"

class QFileSystemWatcher;
class QTimer;

namespace qm::app {

class MainWindow;
class MenuBarController;
class OnboardingWindow;
class QuickLook;
class SettingsWindow;

class AppDelegate : public QObject {
    Q_OBJECT
public:
    struct Options {
        std::string version;                     // the running program's version
        std::unique_ptr<StatusItem> statusItem;  // the platform's item when null
        bool watchSettingsFile = true;
    };
    AppDelegate(AppContext& context, Options options, QObject* parent = nullptr);
    ~AppDelegate() override;

    // The launch steps; `request` is what this launch was asked to do.
    void launch(const InstanceRequest& request = {});
    // A request from this launch or handed over by a later one.
    void handle(const InstanceRequest& request);

    // Ctrl+Q (⌘Q): to the background, or a real quit when nothing would stay reachable.
    void userQuit();
    // Ctrl+Alt+Q (⌥⌘Q), "Quit Quillmere", "Quit Completely".
    void completeQuit();
    // Log-out, shutdown, SIGTERM: quit without asking.
    void systemQuit();
    // Whether the event loop has been asked to end (the caller then saves and exits).
    bool quitting() const { return quitting_; }

    void goToBackground();
    void toggleQuickLook();
    void openMainWindow();
    void openSettings();
    // Shows the Dock icon again unless the user turned it off (on becoming active).
    void restoreDockIfNeeded();
    void showGroup(const std::string& key);

    MainWindow* mainWindow() const { return main_.get(); }
    MenuBarController* menuBar() const { return menuBar_.get(); }
    QuickLook* quickLook() const { return quickLook_.get(); }
    SettingsWindow* settingsWindow() const { return settings_.get(); }
    OnboardingWindow* onboarding() const { return onboarding_.get(); }
    // True when the desktop has no tray: then Ctrl+Q quits, since nothing would be left to click.
    bool trayMissing() const { return trayMissing_; }
    int hintsShown() const { return hintsShown_; }

    // The background hint's texts for this platform (its keys and words).
    static QuitPolicy::Hint hintTexts();

signals:
    // Emitted instead of showing the hint dialog when it is suppressed (tests).
    void hintShown();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void updateMenuBarPresence();
    void settingChanged(const std::string& key);
    void showHint();
    void showOnboarding();
    void showWhatsNewIfPending();
    void quitForReal();
    MainWindow& ensureMainWindow();

    AppContext& context_;
    Options options_;
    QuitPolicy policy_;
    std::unique_ptr<MainWindow> main_;
    std::unique_ptr<MenuBarController> menuBar_;
    std::unique_ptr<QuickLook> quickLook_;
    std::unique_ptr<SettingsWindow> settings_;
    std::unique_ptr<OnboardingWindow> onboarding_;
    std::unique_ptr<QFileSystemWatcher> settingsWatcher_;
    std::optional<std::string> pendingShow_;
    int defaultsToken_ = 0;
    int monitorToken_ = 0;
    bool quitting_ = false;
    bool trayMissing_ = false;
    bool trayMissingSaid_ = false;
    QTimer* trayWatch_ = nullptr;  // runs only while the tray host is missing
    bool whatsNewChecked_ = false;
    int hintsShown_ = 0;
};

}  // namespace qm::app
