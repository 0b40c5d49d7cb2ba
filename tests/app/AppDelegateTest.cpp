#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QMessageBox>
#include <thread>

#include "AppTestContext.h"
#include "FakeStatusItem.h"
#include "app/AppDelegate.h"
#include "app/MainWindow.h"
#include "app/SingleInstance.h"
#include "app/menubar/MenuBarController.h"
#include "app/onboarding/OnboardingWindow.h"
#include "app/quicklook/QuickLook.h"
#include "app/widgets/StatusHeader.h"

namespace qm::app {
namespace {

// Runs the event loop until `done` holds (or a generous limit passes).
template <typename Done>
bool spinUntil(Done done, int limitMilliseconds = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!done() && timer.elapsed() < limitMilliseconds) QApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

struct DelegateFixture {
    explicit DelegateFixture(bool trayHost = true, std::string version = "1.0.0") {
        QuitPolicy::resetCompleteQuitForTesting();
        AppDelegate::Options options;
        options.version = std::move(version);
        options.statusItem = std::unique_ptr<StatusItem>(item = new test::FakeStatusItem(trayHost));
        delegate = std::make_unique<AppDelegate>(t.context, std::move(options));
    }
    ~DelegateFixture() {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->isVisible()) widget->hide();
        QuitPolicy::resetCompleteQuitForTesting();
    }
    void finishOnboarding() const { emit delegate->onboarding()->completed(); }

    test::AppTestContext t;
    test::FakeStatusItem* item = nullptr;
    std::unique_ptr<AppDelegate> delegate;
};

TEST(AppDelegateTest, FreshInstallOnboardsFirstAndTheItemAppearsAfter) {
    DelegateFixture f;
    f.delegate->launch();
    // The migration turned the menu bar on, but the item waits for onboarding, which
    // needs the window.
    EXPECT_TRUE(f.t.defaults.boolValue("menuBar.enabled"));
    EXPECT_TRUE(f.t.defaults.boolValue("migration.menuBar.v2"));
    EXPECT_FALSE(f.item->installed());
    ASSERT_NE(f.delegate->onboarding(), nullptr);
    EXPECT_TRUE(f.delegate->onboarding()->isVisible());
    EXPECT_TRUE(f.delegate->mainWindow()->isVisible());
    EXPECT_TRUE(f.t.monitor->demand().contains("onboarding"));

    f.finishOnboarding();
    EXPECT_TRUE(f.t.defaults.boolValue("onboarded"));
    EXPECT_TRUE(f.item->installed());
    ASSERT_FALSE(f.item->labels.empty());  // drawn at once

    // Turning the item off anywhere (another process, the settings) removes it.
    f.t.defaults.set("menuBar.enabled", false);
    EXPECT_TRUE(spinUntil([&] { return !f.item->installed(); }));
    f.t.defaults.set("menuBar.enabled", true);
    EXPECT_TRUE(spinUntil([&] { return f.item->installed(); }));
}

TEST(AppDelegateTest, OnboardedUserCanStartInTheMenuBarOnly) {
    DelegateFixture f;
    f.t.defaults.set("onboarded", true);
    f.t.defaults.set("migration.menuBar.v2", true);
    f.t.defaults.set("menuBar.enabled", true);
    f.t.defaults.set("window.atLaunch", false);
    f.delegate->launch();
    EXPECT_TRUE(f.item->installed());
    EXPECT_EQ(f.delegate->mainWindow(), nullptr);  // not even made
    EXPECT_TRUE(f.t.monitor->demand().empty());    // background sampling

    f.delegate->toggleQuickLook();
    ASSERT_NE(f.delegate->quickLook(), nullptr);
    EXPECT_TRUE(f.delegate->quickLook()->isVisible());
    EXPECT_TRUE(f.t.monitor->demand().contains("popover"));
    f.delegate->toggleQuickLook();
    EXPECT_FALSE(f.delegate->quickLook()->isVisible());
    EXPECT_FALSE(f.t.monitor->demand().contains("popover"));
}

TEST(AppDelegateTest, QuitPolicyHidesOnceWithTheHintOrQuits) {
    DelegateFixture f;
    f.t.defaults.set("onboarded", true);
    f.delegate->launch();
    ASSERT_TRUE(f.item->installed());
    ASSERT_TRUE(f.delegate->mainWindow()->isVisible());

    // Ctrl+Q with the item in place: to the background, the hint once.
    f.delegate->userQuit();
    EXPECT_FALSE(f.delegate->quitting());
    EXPECT_FALSE(f.delegate->mainWindow()->isVisible());
    EXPECT_TRUE(f.t.defaults.boolValue("quit.backgroundHintShown"));  // set before the hint shows
    ASSERT_TRUE(spinUntil([&] { return f.delegate->hintsShown() == 1; }));
    auto* hint = qApp->findChild<QMessageBox*>("backgroundHint");
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->objectName() == "backgroundHint") hint = qobject_cast<QMessageBox*>(widget);
    ASSERT_NE(hint, nullptr);
    EXPECT_EQ(hint->text().toStdString(), "Quillmere is still running in your system tray");
    EXPECT_NE(hint->informativeText().indexOf("or press Ctrl+Alt+Q."), -1) << hint->informativeText().toStdString();
    QStringList buttons;
    for (auto* button : hint->buttons()) buttons << button->text();
    EXPECT_TRUE(buttons.contains("OK"));
    EXPECT_TRUE(buttons.contains("Quit Completely"));
    hint->close();

    f.delegate->openMainWindow();
    f.delegate->userQuit();
    QApplication::processEvents();
    spinUntil([] { return false; }, 400);
    EXPECT_EQ(f.delegate->hintsShown(), 1) << "the hint shows once per installation";
    EXPECT_FALSE(f.delegate->quitting());

    // With "keep running" off, Ctrl+Q quits for real.
    f.t.defaults.set("quit.keepRunningInMenuBar", false);
    f.delegate->userQuit();
    EXPECT_TRUE(f.delegate->quitting());
}

TEST(AppDelegateTest, CompleteQuitAndMissingTrayAlwaysQuit) {
    {
        DelegateFixture f;
        f.t.defaults.set("onboarded", true);
        f.delegate->launch();
        f.delegate->completeQuit();  // Ctrl+Alt+Q
        EXPECT_TRUE(f.delegate->quitting());
        EXPECT_TRUE(QuitPolicy::completeQuitRequested());
    }
    {
        // No tray on this desktop: the window opens instead, and Ctrl+Q must not leave
        // an unreachable program behind.
        DelegateFixture f(false);
        f.t.defaults.set("onboarded", true);
        f.t.defaults.set("window.atLaunch", false);
        f.delegate->launch();
        EXPECT_TRUE(f.delegate->trayMissing());
        EXPECT_FALSE(f.item->installed());
        ASSERT_NE(f.delegate->mainWindow(), nullptr);
        EXPECT_TRUE(f.delegate->mainWindow()->isVisible());
        f.delegate->userQuit();
        EXPECT_TRUE(f.delegate->quitting());
    }
}

TEST(AppDelegateTest, HidingNeverClosesTheTrayWindowAndALateTrayGetsTheItem) {
    {
        // Qt draws an XEmbed tray icon in a frameless top-level window of its own.
        DelegateFixture f;
        f.t.defaults.set("onboarded", true);
        f.delegate->launch();
        QWidget trayWindow(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint);
        trayWindow.show();
        for (int round = 0; round < 3; ++round) {
            f.delegate->openMainWindow();
            ASSERT_TRUE(f.delegate->mainWindow()->isVisible());
            f.delegate->userQuit();
            EXPECT_FALSE(f.delegate->quitting());
            EXPECT_FALSE(f.delegate->mainWindow()->isVisible());
            EXPECT_TRUE(trayWindow.isVisible()) << "round " << round;
            EXPECT_TRUE(f.item->installed()) << "round " << round;
        }
        // The panel goes away: Ctrl+Q now quits rather than hide behind nothing.
        f.item->setHost(false);
        f.delegate->openMainWindow();
        f.delegate->userQuit();
        EXPECT_TRUE(f.delegate->quitting());
    }
    {
        // No tray at start: the window stays open; a panel that starts later gets the
        // item, and from then on Ctrl+Q hides to it.
        DelegateFixture f(false);
        f.t.defaults.set("onboarded", true);
        f.delegate->launch();
        ASSERT_TRUE(f.delegate->trayMissing());
        f.item->setHost(true);
        ASSERT_TRUE(spinUntil([&] { return f.item->installed(); }, 8000));
        EXPECT_FALSE(f.delegate->trayMissing());
        f.delegate->userQuit();
        EXPECT_FALSE(f.delegate->quitting());
        EXPECT_FALSE(f.delegate->mainWindow()->isVisible());
    }
}

TEST(AppDelegateTest, ShowOpensTheGroupOrTheAppsWithNothingSelected) {
    DelegateFixture f;
    f.t.defaults.set("onboarded", true);
    f.t.defaults.set("window.atLaunch", false);
    f.delegate->launch();
    Snapshot s;
    AppGroup bash;
    bash.id = "proc:bash";
    bash.name = "bash";
    s.groups = {bash};
    f.t.monitor->apply(s);

    f.delegate->handle({InstanceRequest::Kind::show, "proc:bash"});
    EXPECT_TRUE(f.delegate->mainWindow()->isVisible());
    EXPECT_EQ(f.t.ui.section(), Section::apps);
    EXPECT_EQ(f.t.ui.selectedGroup(), "proc:bash");

    f.delegate->handle({InstanceRequest::Kind::show, "proc:gone"});
    EXPECT_EQ(f.t.ui.section(), Section::apps);
    EXPECT_FALSE(f.t.ui.selectedGroup());
}

TEST(AppDelegateTest, WhatsNewShowsOncePerVersion) {
    test::AppTestContext shared;
    shared.defaults.set("onboarded", true);
    shared.defaults.set("whatsNew.lastSeenVersion", std::string("0.9"));
    auto sheets = [] {
        int count = 0;
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->objectName() == "whatsNew" && widget->isVisible()) ++count;
        return count;
    };
    auto launchOnce = [&] {
        AppDelegate::Options options;
        options.version = "1.0.0";
        options.statusItem = std::make_unique<test::FakeStatusItem>();
        AppDelegate delegate(shared.context, std::move(options));
        delegate.launch();
        const int shown = sheets();
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->isVisible()) widget->close();
        QApplication::processEvents();
        return shown;
    };
    EXPECT_EQ(launchOnce(), 1);
    EXPECT_EQ(shared.defaults.stringValue("whatsNew.lastSeenVersion"), "1.0.0");
    EXPECT_EQ(launchOnce(), 0);
}

TEST(SingleInstanceTest, SecondLaunchHandsItsRequestOver) {
    const QString path = QDir::tempPath() + QString("/qm-instance-%1.socket").arg(QCoreApplication::applicationPid());
    SingleInstance first(path);
    ASSERT_TRUE(first.listen());
    std::vector<InstanceRequest> received;
    QObject::connect(&first, &SingleInstance::requested, [&](const InstanceRequest& r) { received.push_back(r); });

    bool handed = false;
    std::thread second([&] {
        SingleInstance other(path);
        handed = other.handOver({InstanceRequest::Kind::show, "proc:Web Content"});
    });
    ASSERT_TRUE(spinUntil([&] { return !received.empty(); }));
    second.join();
    EXPECT_TRUE(handed);
    EXPECT_EQ(received[0], (InstanceRequest{InstanceRequest::Kind::show, "proc:Web Content"}));

    // Nobody listening: the launch becomes the instance, even over a stale socket.
    SingleInstance lonely(path + ".none");
    EXPECT_FALSE(lonely.handOver({}, 200));
}

}  // namespace
}  // namespace qm::app
