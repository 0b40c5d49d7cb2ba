#include "app/AppDelegate.h"

#include <QApplication>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QKeyEvent>
#include <QMessageBox>
#include <QPushButton>
#include <QSessionManager>
#include <QTimer>

#include "app/MainWindow.h"
#include "app/PlatformApp.h"
#include "app/menubar/MenuBarController.h"
#include "app/onboarding/OnboardingWindow.h"
#include "app/quicklook/QuickLook.h"
#include "app/settings/SettingsWindow.h"
#include "app/updates/UpdateCenter.h"
#include "app/whatsnew/WhatsNewSheet.h"
#include "app/widgets/AppTheme.h"
#include "core/FileDefaults.h"
#include "core/Log.h"
#include "shell/LaunchSettings.h"
#include "shell/PlatformKeys.h"
#include "shell/UpdateNotes.h"

namespace qm::app {

AppDelegate::AppDelegate(AppContext& context, Options options, QObject* parent)
    : QObject(parent), context_(context), options_(std::move(options)), policy_(*context.defaults) {}

AppDelegate::~AppDelegate() {
    qApp->removeEventFilter(this);
    if (defaultsToken_) context_.defaults->removeObserver(defaultsToken_);
    if (monitorToken_) context_.monitor->removeObserver(monitorToken_);
}

QuitPolicy::Hint AppDelegate::hintTexts() {
    QuitPolicy::Hint hint = QuitPolicy::backgroundHint();
    hint.title = shownText(hint.title);
    hint.message = shownText(hint.message);
    return hint;
}

void AppDelegate::launch(const InstanceRequest& request) {
    Defaults& defaults = *context_.defaults;
    // 1. Bring back a menu-bar item the system may have hidden (once per installation).
    migrateMenuBarDefaults(defaults);
    // 2. The Dock icon, and light or dark as the user chose (the desktop's by default).
    applyActivationPolicy(dockPolicy(defaults));
    if (appearance(defaults) != Appearance::system) applyAppearance(appearance(defaults));
    // 3. Sampling starts; the first figures arrive one period later, or at once when a
    //    window is showing.
    context_.monitor->start();
    // 4. The alerts belong to whichever process records; see main.cpp.
    UpdateCenter::shared().start();
    // 5. The menu-bar item.
    auto item = options_.statusItem ? std::move(options_.statusItem) : makePlatformStatusItem();
    menuBar_ = std::make_unique<MenuBarController>(*context_.monitor, defaults, std::move(item),
                                                   [] { return UpdateCenter::shared().isRunning(); });
    connect(menuBar_.get(), &MenuBarController::toggleRequested, this, &AppDelegate::toggleQuickLook);
    connect(menuBar_.get(), &MenuBarController::openRequested, this, &AppDelegate::openMainWindow);
    connect(menuBar_.get(), &MenuBarController::settingsRequested, this, &AppDelegate::openSettings);
    connect(menuBar_.get(), &MenuBarController::updatesRequested, this,
            [] { UpdateCenter::shared().checkForUpdates(); });
    connect(menuBar_.get(), &MenuBarController::quitRequested, this, &AppDelegate::completeQuit);
    updateMenuBarPresence();
    if (menuBar_->isInstalled()) menuBar_->updateLabel(true);
    // 6. Follow settings changes made anywhere: this window, `quillmere config set`, an editor.
    defaultsToken_ = defaults.observe([this](const std::string& key) {
        QMetaObject::invokeMethod(
            this, [this, key] { settingChanged(key); }, Qt::QueuedConnection);
    });
    if (auto* file = dynamic_cast<FileDefaults*>(&defaults); file && options_.watchSettingsFile) {
        // The folder is watched too: an editor or `config set` replaces the file by renaming.
        settingsWatcher_ = std::make_unique<QFileSystemWatcher>();
        const QString path = QString::fromStdString(file->path());
        settingsWatcher_->addPath(QFileInfo(path).absolutePath());
        if (QFileInfo::exists(path)) settingsWatcher_->addPath(path);
        auto reload = [this, file, path] {
            file->reloadIfChanged();
            if (QFileInfo::exists(path) && !settingsWatcher_->files().contains(path)) settingsWatcher_->addPath(path);
        };
        connect(settingsWatcher_.get(), &QFileSystemWatcher::fileChanged, this, reload);
        connect(settingsWatcher_.get(), &QFileSystemWatcher::directoryChanged, this, reload);
    }
    // 7. Ctrl+Q and Ctrl+Alt+Q in any of our windows; the system's own quit events.
    qApp->installEventFilter(this);
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this](QSessionManager&) { systemQuit(); });
    // Opening the running program again (⌘Q only hid it) brings the window back; any
    // return to the front brings back the Dock icon unless the user turned it off.
    watchReopen([this] { openMainWindow(); });
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive) restoreDockIfNeeded();
    });
    // A `--show` before the first figures waits for them, so the group can be found.
    monitorToken_ = context_.monitor->observe([this] {
        if (!pendingShow_ || !context_.monitor->hasData()) return;
        std::string key = *pendingShow_;
        pendingShow_.reset();
        showGroup(key);
    });
    // 8. The window, unless the user starts in the menu bar only (never before onboarding).
    const bool onboarded = defaults.boolValue("onboarded");
    if (!onboarded) {
        showOnboarding();
    } else if (request.kind != InstanceRequest::Kind::open || !closeMainWindowAtLaunch(defaults)) {
        handle(request);
    }
}

void AppDelegate::handle(const InstanceRequest& request) {
    switch (request.kind) {
        case InstanceRequest::Kind::open: openMainWindow(); break;
        case InstanceRequest::Kind::toggle: toggleQuickLook(); break;
        case InstanceRequest::Kind::show: showGroup(request.key); break;
    }
}

void AppDelegate::updateMenuBarPresence() {
    if (!menuBar_) return;
    const bool wanted = menuBarBelongsOnScreen(*context_.defaults);
    if (wanted && !menuBar_->isInstalled()) {
        if (!menuBar_->item().hostAvailable()) {
            trayMissing_ = true;
            if (!trayMissingSaid_) {
                trayMissingSaid_ = true;
                logLine("no system tray on this desktop; the Quillmere window stays open instead");
                openMainWindow();
            }
            // A panel that starts after us (or restarts) gets the item as soon as it is
            // there: look again every few seconds, only while there is none.
            if (!trayWatch_) {
                trayWatch_ = new QTimer(this);
                trayWatch_->setTimerType(Qt::VeryCoarseTimer);
                trayWatch_->setInterval(3000);
                connect(trayWatch_, &QTimer::timeout, this, &AppDelegate::updateMenuBarPresence);
            }
            trayWatch_->start();
            return;
        }
        if (trayWatch_) trayWatch_->stop();
        if (trayMissing_) logLine("a system tray appeared; the Quillmere item is in it");
        trayMissing_ = false;
        menuBar_->install();
    } else if (!wanted && menuBar_->isInstalled()) {
        menuBar_->uninstall();
    }
}

void AppDelegate::settingChanged(const std::string& key) {
    if (key == "menuBar.enabled" || key == "onboarded") {
        updateMenuBarPresence();
    } else if (key == appearanceKey) {
        applyAppearance(appearance(*context_.defaults));
    } else if (key == "menuBar.style") {
        if (menuBar_ && menuBar_->isInstalled()) menuBar_->updateLabel(true);
    } else if (key == "refresh.interval") {
        context_.monitor->sampler().reschedule();
    } else if (key == "dock.visible") {
        applyActivationPolicy(dockPolicy(*context_.defaults));
    }
}

MainWindow& AppDelegate::ensureMainWindow() {
    if (!main_) {
        main_ = std::make_unique<MainWindow>(context_);
        connect(main_.get(), &MainWindow::settingsRequested, this, &AppDelegate::openSettings);
    }
    return *main_;
}

void AppDelegate::openMainWindow() {
    MainWindow& window = ensureMainWindow();
    restoreDockIfNeeded();
    window.show();
    window.raise();
    window.activateWindow();
    showWhatsNewIfPending();
}

void AppDelegate::restoreDockIfNeeded() {
    if (policy_.shouldRestoreDock(activationPolicyIsRegular())) applyActivationPolicy(ActivationPolicy::regular);
}

void AppDelegate::openSettings() {
    if (!settings_) settings_ = std::make_unique<SettingsWindow>(context_);
    settings_->show();
    settings_->raise();
    settings_->activateWindow();
}

void AppDelegate::toggleQuickLook() {
    if (!quickLook_) {
        quickLook_ = std::make_unique<QuickLook>(context_);
        connect(quickLook_.get(), &QuickLook::openRequested, this, &AppDelegate::openMainWindow);
        connect(quickLook_.get(), &QuickLook::groupRequested, this,
                [this](const QString& key) { showGroup(key.toStdString()); });
    }
    const QRect anchor = menuBar_ && menuBar_->isInstalled() ? menuBar_->item().geometry() : QRect();
    quickLook_->toggle(anchor);
}

void AppDelegate::showGroup(const std::string& key) {
    if (!context_.monitor->hasData()) {
        pendingShow_ = key;
        openMainWindow();
        return;
    }
    // A key that no longer names a running group opens the apps with nothing selected.
    if (context_.monitor->group(key)) {
        context_.ui->reveal(key);
    } else {
        context_.ui->clearSelection();
        context_.ui->show(Section::apps);
    }
    openMainWindow();
}

void AppDelegate::showOnboarding() {
    openMainWindow();
    if (!onboarding_) {
        onboarding_ = std::make_unique<OnboardingWindow>(context_, main_.get());
        connect(onboarding_.get(), &OnboardingWindow::completed, this, [this] {
            context_.defaults->set("onboarded", true);
            updateMenuBarPresence();
        });
    }
    onboarding_->show();
    onboarding_->raise();
}

void AppDelegate::showWhatsNewIfPending() {
    if (whatsNewChecked_ || !main_) return;
    whatsNewChecked_ = true;
    // Onboarding speaks for a fresh install; the note is for an update.
    if (auto note = WhatsNew::pendingNote(*context_.defaults, options_.version)) {
        auto* sheet = new WhatsNewSheet(*note, main_.get());
        sheet->setAttribute(Qt::WA_DeleteOnClose);
        sheet->open();
    }
}

void AppDelegate::userQuit() {
    // Hiding behind an item nobody can click (no tray, or behind the camera housing)
    // would leave an invisible running program: then ⌘Q quits.
    const bool hostGone = menuBar_ && menuBar_->isInstalled() && !menuBar_->item().hostAvailable();
    const bool reachable = !trayMissing_ && !hostGone && !(menuBar_ && menuBar_->hiddenByNotch());
    if (reachable && policy_.reply(QuitPolicy::QuitRequest::userQuit) == QuitPolicy::Reply::goToBackground) {
        goToBackground();
        return;
    }
    quitForReal();
}

void AppDelegate::completeQuit() {
    QuitPolicy::requestCompleteQuit();
    quitForReal();
}

void AppDelegate::systemQuit() { quitForReal(); }

namespace {
bool isTrayIconWindow(const QWidget* widget) {
    const Qt::WindowFlags flags = widget->windowFlags();
    return flags.testFlag(Qt::FramelessWindowHint) || flags.testFlag(Qt::BypassWindowManagerHint) ||
           flags.testFlag(Qt::X11BypassWindowManagerHint) ||
           QByteArray(widget->metaObject()->className()).startsWith("QSystemTrayIcon");
}
}  // namespace

void AppDelegate::goToBackground() {
    // Every titled window closes; the quick look and menus are not windows in that sense,
    // and neither is the tray icon: on an XEmbed tray Qt draws it in a frameless
    // top-level window of its own, and closing that one takes the icon away for good.
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (!widget->isVisible() || isTrayIconWindow(widget)) continue;
        const Qt::WindowType type = widget->windowType();
        if (type == Qt::Window || type == Qt::Dialog) widget->close();
    }
    applyActivationPolicy(ActivationPolicy::accessory);
    if (policy_.claimBackgroundHint()) QTimer::singleShot(250, this, &AppDelegate::showHint);
}

void AppDelegate::showHint() {
    ++hintsShown_;
    emit hintShown();
    const QuitPolicy::Hint hint = hintTexts();
    auto* box = new QMessageBox(QMessageBox::Information, QString::fromStdString(hint.title),
                                QString::fromStdString(hint.title));
    box->setObjectName("backgroundHint");
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(QString::fromStdString(hint.message));
    box->setIconPixmap(QApplication::windowIcon().pixmap(64, 64));
    QPushButton* ok = box->addButton(QString::fromStdString(hint.okButton), QMessageBox::AcceptRole);
    QPushButton* quit = box->addButton(QString::fromStdString(hint.quitButton), QMessageBox::DestructiveRole);
    box->setDefaultButton(ok);
    connect(quit, &QPushButton::clicked, this, &AppDelegate::completeQuit);
    box->show();
    box->raise();
    box->activateWindow();
}

void AppDelegate::quitForReal() {
    if (quitting_) return;
    quitting_ = true;
    QCoreApplication::quit();
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress && watched->isWidgetType()) {
        auto* key = static_cast<QKeyEvent*>(event);
        const auto modifiers = key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
        if (key->key() == Qt::Key_Q && modifiers == (Qt::ControlModifier | Qt::AltModifier)) {
            completeQuit();
            return true;
        }
        if (key->key() == Qt::Key_Q && modifiers == Qt::ControlModifier) {
            userQuit();
            return true;
        }
    } else if (event->type() == QEvent::Quit && watched == qApp && !quitting_) {
        // The platform's own Quit: the user's ⌘Q or application menu follows the Quit
        // policy; log out, restart, shut down and other programs' requests end the
        // program (a Mac sends them all as this same event).
        QuitTrigger trigger = currentQuitTrigger();
        trigger.sessionEnding = trigger.sessionEnding || qApp->isSavingSession();
        if (classifyQuit(trigger) == QuitPolicy::QuitRequest::other) {
            quitting_ = true;
            return QObject::eventFilter(watched, event);
        }
        userQuit();
        return !quitting_;
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace qm::app
