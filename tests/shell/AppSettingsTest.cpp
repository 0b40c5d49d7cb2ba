#include <gtest/gtest.h>

#include "core/Defaults.h"
#include "shell/LaunchSettings.h"
#include "shell/QuitPolicy.h"
#include "shell/UpdateNotes.h"

namespace qm {
namespace {

TEST(LaunchSettingsTest, MigrationRunsOnceAndTheItemWaitsForOnboarding) {
    MemoryDefaults defaults;
    defaults.set("menuBar.enabled", false);
    defaults.set("NSStatusItem VisibleCC Item-0", false);
    defaults.set("NSStatusItem Preferred Position Item-0", 812.0);

    EXPECT_TRUE(migrateMenuBarDefaults(defaults));
    EXPECT_TRUE(defaults.boolValue("menuBar.enabled"));
    EXPECT_FALSE(defaults.contains("NSStatusItem VisibleCC Item-0"));
    EXPECT_FALSE(defaults.contains("NSStatusItem Preferred Position Item-0"));
    EXPECT_FALSE(menuBarBelongsOnScreen(defaults));  // fresh install: not before onboarding

    defaults.set("onboarded", true);
    EXPECT_TRUE(menuBarBelongsOnScreen(defaults));

    // A later choice to turn the item off survives the next launch.
    defaults.set("menuBar.enabled", false);
    EXPECT_FALSE(migrateMenuBarDefaults(defaults));
    EXPECT_FALSE(menuBarBelongsOnScreen(defaults));
}

TEST(LaunchSettingsTest, DockAndWindowFollowStoredBoolsOnly) {
    MemoryDefaults defaults;
    EXPECT_EQ(dockPolicy(defaults), ActivationPolicy::regular);
    defaults.set("dock.visible", false);
    EXPECT_EQ(dockPolicy(defaults), ActivationPolicy::accessory);
    defaults.set("dock.visible", std::string("no"));  // not a bool: as if unset
    EXPECT_EQ(dockPolicy(defaults), ActivationPolicy::regular);

    defaults.set("window.atLaunch", false);
    EXPECT_FALSE(closeMainWindowAtLaunch(defaults));  // onboarding still needs the window
    defaults.set("onboarded", true);
    EXPECT_TRUE(closeMainWindowAtLaunch(defaults));
    defaults.remove("window.atLaunch");
    EXPECT_FALSE(closeMainWindowAtLaunch(defaults));
}

TEST(QuitPolicyTest, KeepsRunningOnlyWithAVisibleMenuBarItem) {
    QuitPolicy::resetCompleteQuitForTesting();
    MemoryDefaults defaults;
    QuitPolicy policy(defaults);
    using R = QuitPolicy::Reply;
    using Q = QuitPolicy::QuitRequest;

    EXPECT_FALSE(policy.keepsRunning());  // no item yet: ⌘Q quits
    EXPECT_EQ(policy.reply(Q::userQuit), R::terminateNow);

    defaults.set("menuBar.enabled", true);
    defaults.set("onboarded", true);
    EXPECT_TRUE(policy.keepsRunning());
    EXPECT_EQ(policy.reply(Q::userQuit), R::goToBackground);
    EXPECT_EQ(policy.reply(Q::other), R::terminateNow);  // shutdown never asks

    defaults.set("quit.keepRunningInMenuBar", true);
    EXPECT_TRUE(policy.keepsRunning());
    defaults.set("quit.keepRunningInMenuBar", false);
    EXPECT_FALSE(policy.keepsRunning());
    defaults.remove("quit.keepRunningInMenuBar");

    QuitPolicy::requestCompleteQuit();  // ⌥⌘Q
    EXPECT_EQ(policy.reply(Q::userQuit), R::terminateNow);
    QuitPolicy::resetCompleteQuitForTesting();
}

TEST(QuitPolicyTest, HintShowsOnceAndDockComesBackUnlessHidden) {
    MemoryDefaults defaults;
    QuitPolicy policy(defaults);
    EXPECT_TRUE(policy.claimBackgroundHint());
    EXPECT_TRUE(defaults.boolValue("quit.backgroundHintShown"));
    EXPECT_FALSE(policy.claimBackgroundHint());

    EXPECT_TRUE(policy.shouldRestoreDock(false));
    EXPECT_FALSE(policy.shouldRestoreDock(true));
    defaults.set("dock.visible", false);
    EXPECT_FALSE(policy.shouldRestoreDock(false));
}

TEST(UpdateNotesTest, WhatsNewShowsOnceAfterAnUpgrade) {
    MemoryDefaults defaults;
    EXPECT_EQ(WhatsNew::pendingNote(defaults, "1.0.0"), std::nullopt);  // fresh install
    EXPECT_EQ(defaults.stringValue("whatsNew.lastSeenVersion"), "1.0.0");
    EXPECT_EQ(WhatsNew::pendingNote(defaults, "1.0.0"), std::nullopt);

    defaults.set("whatsNew.lastSeenVersion", std::string("0.9"));
    auto note = WhatsNew::pendingNote(defaults, "1.0.0");
    ASSERT_TRUE(note);
    EXPECT_EQ(note->items.size(), 3u);
    EXPECT_EQ(note->items[0].title, "Apps, not processes");
    EXPECT_EQ(WhatsNew::versionLine(*note), "Version 1.0.0");
    EXPECT_EQ(WhatsNew::pendingNote(defaults, "1.0.0"), std::nullopt);  // the next launch

    EXPECT_EQ(WhatsNew::pendingNote(defaults, "1.0.1"), std::nullopt);  // no note for it
    EXPECT_EQ(defaults.stringValue("whatsNew.lastSeenVersion"), "1.0.1");
}

TEST(UpdateNotesTest, UpdaterNeedsARealLookingKey) {
    EXPECT_FALSE(updaterKeyIsUsable(std::nullopt));
    EXPECT_FALSE(updaterKeyIsUsable(std::string(30, 'k')));
    EXPECT_TRUE(updaterKeyIsUsable(std::string(31, 'k')));
    EXPECT_FALSE(updaterKeyIsUsable("$(SPARKLE_PUBLIC_KEY)0123456789abcdefghij"));
}

}  // namespace
}  // namespace qm
