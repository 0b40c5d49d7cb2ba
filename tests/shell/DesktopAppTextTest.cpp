// The desktop app's portable decisions: launch arguments and the instance protocol,
// the autostart entry, the settings texts per platform and the quick look's rows.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "fmt/Fmt.h"
#include "fmt/PlatformWording.h"
#include "shell/Autostart.h"
#include "shell/InstanceRequest.h"
#include "shell/MenuBarLabel.h"
#include "shell/PlatformKeys.h"
#include "shell/QuickLookModel.h"
#include "shell/QuitPolicy.h"
#include "shell/SettingsText.h"
#include "shell/SidebarFigures.h"

namespace qm {
namespace {

TEST(InstanceRequestTest, ArgumentsAndLinesRoundTripAndNonsenseIsRefused) {
    using Kind = InstanceRequest::Kind;
    EXPECT_EQ(parseLaunchArguments({}).request.kind, Kind::open);
    EXPECT_EQ(parseLaunchArguments({"--toggle"}).request.kind, Kind::toggle);
    auto show = parseLaunchArguments({"--show", "app:/usr/share/applications/org.gnome.Nautilus.desktop"});
    EXPECT_EQ(show.request, (InstanceRequest{Kind::show, "app:/usr/share/applications/org.gnome.Nautilus.desktop"}));
    EXPECT_EQ(parseLaunchArguments({"--show=proc:bash"}).request.key, "proc:bash");
    // Qt's own switches and their values are not ours to refuse.
    EXPECT_TRUE(parseLaunchArguments({"-platform", "offscreen", "--toggle"}).error.empty());
    EXPECT_FALSE(parseLaunchArguments({"--show"}).error.empty());
    EXPECT_FALSE(parseLaunchArguments({"--show="}).error.empty());
    EXPECT_FALSE(parseLaunchArguments({"--frobnicate"}).error.empty());
    EXPECT_FALSE(parseLaunchArguments({"stray"}).error.empty());
    EXPECT_TRUE(parseLaunchArguments({"--help"}).help);
    EXPECT_TRUE(parseLaunchArguments({"--version"}).version);
    EXPECT_NE(launchUsage().find("--show KEY"), std::string::npos);

    // A key with spaces survives the one-line protocol.
    const InstanceRequest spaced{Kind::show, "proc:Web Content"};
    EXPECT_EQ(InstanceRequest::fromLine(spaced.line() + "\n"), spaced);
    EXPECT_EQ(InstanceRequest::fromLine("toggle\r\n"), (InstanceRequest{Kind::toggle, {}}));
    EXPECT_EQ(InstanceRequest::fromLine("open"), InstanceRequest{});
    EXPECT_FALSE(InstanceRequest::fromLine("show "));
    EXPECT_FALSE(InstanceRequest::fromLine("quit"));
    EXPECT_FALSE(InstanceRequest::fromLine(""));

    EXPECT_EQ(instanceSocketPath("/run/user/1000", 1000), "/run/user/1000/quillmere-app.socket");
    EXPECT_EQ(instanceSocketPath("", 1000), "/tmp/quillmere-app-1000.socket");

    EXPECT_TRUE(displayProblem(nullptr, nullptr, nullptr));
    EXPECT_TRUE(displayProblem("", "", ""));
    EXPECT_FALSE(displayProblem(":0", nullptr, nullptr));
    EXPECT_FALSE(displayProblem(nullptr, "wayland-0", nullptr));
    EXPECT_FALSE(displayProblem(nullptr, nullptr, "offscreen"));
}

TEST(SidebarFiguresTest, EachSectionShowsItsLiveFigureOnlyWhenMeasured) {
    Fmt::setLocaleForTesting("en_US", "UTC");
    Snapshot s;
    s.cpu.total = 37;
    s.processCount = 1412;
    s.memory = {.total = 16ull << 30, .app = 6ull << 30, .wired = 2ull << 30, .compressed = 1ull << 30};
    s.thermal.hasSensors = false;
    EXPECT_EQ(sidebarFigure(Section::overview, s), "CPU 37%");
    EXPECT_EQ(sidebarFigure(Section::apps, s), "1412 processes");
    EXPECT_EQ(sidebarFigure(Section::memory, s), "9.0 GB used");
    EXPECT_EQ(sidebarFigure(Section::energy, s), std::nullopt) << "no power reading: nothing, not 0 W";
    EXPECT_EQ(sidebarFigure(Section::sensors, s), std::nullopt);
    EXPECT_EQ(sidebarFigure(Section::timeline, s), std::nullopt);
    s.systemPower = 12.5;
    s.thermal.hasSensors = true;
    s.thermal.sensors = {{"Package id 0", 51, SensorReading::Group::cpu},
                         {"nvme", 63.4, SensorReading::Group::storage}};
    EXPECT_EQ(sidebarFigure(Section::energy, s), Fmt::watts(12.5));
    EXPECT_EQ(sidebarFigure(Section::sensors, s), Fmt::temp(63.4));
    Fmt::setLocaleForTesting(nullptr);
}

TEST(AutostartTest, EntryIsWrittenReadBackAndRemoved) {
    const auto dir = std::filesystem::temp_directory_path() / ("qm-autostart-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    const std::string path = autostartPath(dir.string());
    EXPECT_EQ(path, dir.string() + "/autostart/quillmere-app.desktop");
    EXPECT_FALSE(autostartEnabled(path));

    EXPECT_EQ(setAutostart(path, true, "/opt/My Apps/quillmere-app"), "");
    EXPECT_TRUE(autostartEnabled(path));
    std::ifstream in(path);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("Exec=\"/opt/My Apps/quillmere-app\"\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[Desktop Entry]\nType=Application\n"), std::string::npos);
    EXPECT_NE(autostartEntry("quillmere-app").find("Exec=quillmere-app\n"), std::string::npos);

    // The desktop's own "off" switch counts as off.
    std::ofstream(path, std::ios::app) << "Hidden=true\n";
    EXPECT_FALSE(autostartEnabled(path));
    EXPECT_EQ(setAutostart(path, false, "quillmere-app"), "");
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(setAutostart(path, false, "quillmere-app"), "");  // already off
    std::filesystem::remove_all(dir);
}

TEST(SettingsTextTest, EachPlatformSpeaksItsOwnWords) {
    const auto mac = generalSettingsText(Desktop::mac);
    EXPECT_EQ(mac.keepRunning, "Keep running in the menu bar when you press \u2318Q");
    EXPECT_EQ(mac.showInDock, "Show in Dock");
    EXPECT_EQ(mac.intervals.size(), 3u);
    EXPECT_EQ(mac.intervals[1].title, "2 seconds");
    EXPECT_EQ(mac.intervals[1].seconds, 2.0);

    const auto pc = generalSettingsText(Desktop::freedesktop);
    EXPECT_EQ(pc.keepRunning, "Keep running in the system tray when you press Ctrl+Q");
    EXPECT_FALSE(pc.showInDock);
    EXPECT_NE(pc.keepRunningFootnote.find("Ctrl+Alt+Q"), std::string::npos);
    for (const std::string& text : {pc.updateFootnote, pc.windowAtLaunch, pc.keepRunning, pc.keepRunningFootnote,
                                    pc.launchAtLogin, pc.languageNote, pc.languageButton}) {
        EXPECT_EQ(text.find("Mac"), std::string::npos) << text;
        EXPECT_EQ(text.find("Dock"), std::string::npos) << text;
        EXPECT_EQ(text.find("\u2318"), std::string::npos) << text;
    }

    using State = HelperInstaller::State;
    using Button = HelperRow::Button;
    EXPECT_EQ(helperRow(State::enabled, Desktop::mac).status, "Allowed");
    EXPECT_TRUE(helperRow(State::enabled, Desktop::mac).ok);
    EXPECT_EQ(helperRow(State::enabled, Desktop::mac).buttons, std::vector<Button>{Button::remove});
    EXPECT_EQ(helperRow(State::notRegistered, Desktop::freedesktop).buttons, std::vector<Button>{Button::allow});
    EXPECT_EQ(helperRow(State::requiresApproval, Desktop::mac).buttons, std::vector<Button>{Button::approve});
    EXPECT_TRUE(helperRow(State::unavailable, Desktop::freedesktop).buttons.empty());
    EXPECT_EQ(helperRow(State::unavailable, Desktop::freedesktop).note.find("macOS"), std::string::npos);
    EXPECT_EQ(buttonTitle(Button::allow), "Allow");
    EXPECT_EQ(buttonTitle(Button::remove), "Remove helper");

    EXPECT_NE(recorderLine(true, std::nullopt).find("This app records"), std::string::npos);
    EXPECT_NE(recorderLine(false, 4242).find("pid 4242"), std::string::npos);
}

TEST(PlatformKeysTest, HintAndShortcutsNameThePcKeys) {
    EXPECT_EQ(linuxKeys("press \u2325\u2318Q."), "press Ctrl+Alt+Q.");
    EXPECT_EQ(linuxKeys("\u2318K and \u2318Q"), "Ctrl+K and Ctrl+Q");
    EXPECT_EQ(linuxKeys("no keys"), "no keys");
    const std::string hint = linuxKeys(linuxWording(QuitPolicy::backgroundHint().message));
    EXPECT_NE(hint.find("or press Ctrl+Alt+Q."), std::string::npos) << hint;
    EXPECT_EQ(hint.find("\u2318"), std::string::npos);
}

TEST(QuickLookModelTest, BusiestLeavesTheKernelOutAndEventsKeepTheirOrder) {
    Fmt::setLocaleForTesting("en_US", "UTC");
    Snapshot s;
    auto group = [](std::string id, std::string name, double cpu) {
        AppGroup g;
        g.id = std::move(id);
        g.name = std::move(name);
        g.cpu = cpu;
        return g;
    };
    s.groups = {group("proc:kernel", "Linux kernel", 300),
                group("proc:a", "A", 10),
                group("proc:b", "B", 50),
                group("proc:c", "C", 10),
                group("proc:d", "D", 5),
                group("proc:e", "E", 1),
                group("proc:f", "F", 0)};
    const auto rows = QuickLookModel::busiest(s);
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(rows[0].title, "B");
    EXPECT_EQ(rows[1].title, "A");  // ties keep the snapshot's order
    EXPECT_EQ(rows[2].title, "C");
    EXPECT_EQ(rows[0].value, "50%");
    EXPECT_EQ(rows[0].key, "proc:b");

    s.memory.total = 16ull << 30;
    s.memory.app = 4ull << 30;
    const auto figures = QuickLookModel::figures(s);
    EXPECT_EQ(figures[1].value, "4.0 GB of 16 GB");
    EXPECT_EQ(figures[2].value, "\u2014");  // no power reading at all

    std::vector<TimelineEvent> events(5);
    for (size_t i = 0; i < events.size(); ++i) {
        events[i].title = "Your Mac event " + std::to_string(i);
        events[i].severity = static_cast<int64_t>(i);
    }
    const auto last = QuickLookModel::lastEvents(events);
    ASSERT_EQ(last.size(), 3u);
    EXPECT_EQ(last[0].title, forThisPlatform("Your Mac event 0"));
    EXPECT_EQ(last[2].level, 2);
    EXPECT_EQ(QuickLookModel::lastEvents(events, 10).back().level, 2);  // severities clamp to 0..2
    Fmt::setLocaleForTesting(nullptr);
}

TEST(TrayLabelTest, TrayLinesDropTheWordsOnlyWhenTwoLinesShareTheSquare) {
    MenuBarLabel two;
    two.lines = {"CPU 12%", "MEM 48%"};
    EXPECT_EQ(trayLines(two), (std::vector<std::string>{"12%", "48%"}));
    MenuBarLabel one;
    one.lines = {"7.5 W"};
    EXPECT_EQ(trayLines(one), one.lines);
    EXPECT_TRUE(trayLines(MenuBarLabel{}).empty());
}

}  // namespace
}  // namespace qm
