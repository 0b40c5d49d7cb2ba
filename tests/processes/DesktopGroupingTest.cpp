#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/FileRead.h"
#include "processes/AppScope.h"
#include "processes/DesktopEntry.h"
#include "processes/DesktopKeys.h"
#include "processes/ProcessReader.h"
#include "processes/linux/LinuxProcessSource.h"

namespace qm {
namespace {

const std::string root = std::string(QM_FIXTURES) + "/processes/root";

TEST(AppScope, UnitNamesGiveDesktopIDs) {
    auto ids = [](std::string_view cgroup) {
        auto scope = appScopeOf(cgroup);
        return scope ? scope->candidateIDs : std::vector<std::string>{};
    };
    using V = std::vector<std::string>;
    const std::string u = "/user.slice/user-1000.slice/user@1000.service/app.slice/";
    EXPECT_EQ(ids(u + "app-gnome-firefox-1234.scope"), (V{"firefox", "gnome-firefox"}));
    EXPECT_EQ(ids(u + "app-firefox-1234.scope"), (V{"firefox"}));
    EXPECT_EQ(ids(u + "app-gnome-firefox\\x2desr-5678.scope"), (V{"firefox-esr", "gnome-firefox-esr"}));
    EXPECT_EQ(ids(u + "app-flatpak-org.mozilla.firefox-12345.scope")[0], "org.mozilla.firefox");
    EXPECT_EQ(ids(u + "app-org.kde.konsole@0f3a9c21.service"), (V{"org.kde.konsole"}));
    EXPECT_EQ(ids(u + "app-gnome-org.gnome.Nautilus@12.service")[0], "org.gnome.Nautilus");
    EXPECT_EQ(ids(u + "app-kde-some-tool-c7c3b5e2a8f1.scope")[0], "tool") << "unescaped dashes";
    EXPECT_EQ(ids(u + "app-kde-some-tool-c7c3b5e2a8f1.scope")[1], "some-tool");
    EXPECT_EQ(ids(u + "snap.firefox.firefox-7e3c6b1c-9a0f-4b7f-8a3c-0a2f5d1e2b3c.scope"),
              (V{"firefox_firefox", "firefox"}));
    EXPECT_EQ(ids(u + "snap.code.url-handler-42.scope"), (V{"code_url-handler"}));
    // An app scope with a child cgroup below it still counts.
    EXPECT_EQ(ids(u + "app-gnome-code-99.scope/renderer"), (V{"code", "gnome-code"}));

    for (auto none :
         {"/user.slice/user-1000.slice/session-2.scope", "/", "",
          "/user.slice/user-1000.slice/user@1000.service/app.slice/vte-spawn-5d3a.scope", "/system.slice/cron.service",
          "/app-.scope", "/app-@.service", "/snap.x.scope", "/user.slice/app.slice", "/snap..scope"})
        EXPECT_FALSE(appScopeOf(none)) << none;

    EXPECT_EQ(systemdCgroupPath("12:pids:/x\n1:name=systemd:/user.slice/a.scope\n0::/\n"), "/user.slice/a.scope");
    EXPECT_EQ(systemdCgroupPath("0::/user.slice/b:c.scope\n"), "/user.slice/b:c.scope");
    EXPECT_EQ(systemdCgroupPath("garbage\n"), "");
    EXPECT_EQ(unescapeUnitName("a\\x2db\\x2"), "a-b\\x2");
}

TEST(DesktopEntry, NamesKindsAndDataDirectories) {
    EXPECT_EQ(desktopEntryName("[Desktop Entry]\nName[fr]=Courrier\nName=Mail\\sApp\n"), "Mail App");
    EXPECT_EQ(desktopEntryName("[Other]\nName=Not this\n[Desktop Entry]\nName = Right\n"), "Right");
    EXPECT_EQ(desktopEntryName("Name=No group\n"), std::nullopt);
    EXPECT_EQ(desktopEntryName("[Desktop Entry]\nName=\n"), std::nullopt);
    EXPECT_EQ(desktopEntryName(std::string("\0\xff[Desktop Entry\n", 17)), std::nullopt);

    EXPECT_EQ(linuxKind(true, "/user.slice/x", 1000), ProcessKind::system);
    EXPECT_EQ(linuxKind(false, "/system.slice/nginx.service", 33), ProcessKind::system);
    EXPECT_EQ(linuxKind(false, "/user.slice/user-1000.slice/session-2.scope", 0), ProcessKind::background)
        << "root in the user's session (sudo) is the user's doing";
    EXPECT_EQ(linuxKind(false, "/user.slice/user-1000.slice/session-2.scope", 1000), ProcessKind::background);
    EXPECT_EQ(linuxKind(false, "/init.scope", 0), ProcessKind::system);
    EXPECT_EQ(linuxKind(false, "", 0), ProcessKind::system) << "no slice: the uid decides";
    EXPECT_EQ(linuxKind(false, "/machine.slice/libpod-1.scope", 1000), ProcessKind::background);
    EXPECT_EQ(linuxKind(false, "/weird//slices:x", 999), ProcessKind::system);
    EXPECT_TRUE(desktopEntryIsTerminal("[Desktop Entry]\nName=T\nCategories=System;TerminalEmulator;\n"));
    EXPECT_FALSE(desktopEntryIsTerminal("[Desktop Entry]\nCategories=Game;TerminalEmulators\n"));
    EXPECT_FALSE(desktopEntryIsTerminal("[Desktop Entry]\nName=T\n"));
    EXPECT_TRUE(isShellName("-zsh"));
    EXPECT_FALSE(isShellName("bashful"));

    auto dirs = xdgDataDirectories(nullptr, "/usr/share/:/opt/share::relative", "/home/u");
    ASSERT_GE(dirs.size(), 4u);
    EXPECT_EQ(dirs[0], "/home/u/.local/share");
    EXPECT_EQ(dirs[1], "/usr/share");
    EXPECT_EQ(dirs[2], "/opt/share");
    EXPECT_EQ(std::count(dirs.begin(), dirs.end(), "/var/lib/snapd/desktop"), 1);
    EXPECT_EQ(xdgDataDirectories("/d", "", "")[1], "/usr/local/share");
}

std::unique_ptr<ProcessReader> fixtureReader() {
    std::vector<std::string> dirs{root + "/home/.local/share", root + "/usr/share",
                                  root + "/var/lib/flatpak/exports/share", root + "/var/lib/snapd/desktop"};
    return std::make_unique<ProcessReader>(
        std::make_unique<LinuxProcessSource>(root),
        std::make_unique<DesktopKeyResolver>(std::make_unique<LinuxCgroupSource>(root), dirs));
}

const AppGroup* findGroup(const std::vector<AppGroup>& groups, const std::string& id) {
    for (const auto& g : groups)
        if (g.id == id) return &g;
    return nullptr;
}

TEST(LinuxProcesses, FixtureTreeIsReadAndGroupedByDesktopApp) {
    auto reader = fixtureReader();
    auto r = reader->readDetailed(false);

    std::map<int32_t, ProcessSample> byPID;
    for (const auto& s : r.processes) byPID[s.pid] = s;
    EXPECT_EQ(byPID.size(), 15u);
    EXPECT_EQ(byPID[3001].uid, 1000u) << "the real uid from status, not the folder's owner";
    EXPECT_NE(byPID[3002].uid, 1000u) << "an unreadable status: the folder's owner";
    EXPECT_FALSE(byPID.contains(3500)) << "a process whose files are gone is not listed";
    EXPECT_EQ(byPID[1020].name, "(a b ) ( c d) ");
    EXPECT_EQ(byPID[3600].name, "evil\nname");
    EXPECT_EQ(byPID[3001].memory, (1981u - 1421u) * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE)))
        << "resident − shared from statm, when status does not split the resident size";
    EXPECT_EQ(byPID[3001].ppid, 1500);
    EXPECT_EQ(byPID[3001].cpu, 0) << "first sight";
    EXPECT_FALSE(byPID[3001].power.has_value()) << "Linux has no per-process energy";

    const auto* firefox = findGroup(r.groups, "app:" + root + "/usr/share/applications/firefox-esr.desktop");
    ASSERT_TRUE(firefox);
    EXPECT_EQ(firefox->name, "Firefox ESR");
    EXPECT_EQ(firefox->kind, ProcessKind::app);
    EXPECT_EQ(firefox->bundleID, "firefox-esr");
    EXPECT_EQ(firefox->processes.size(), 3u);
    EXPECT_EQ(firefox->memory, 3 * byPID[3001].memory);

    const auto* konsole =
        findGroup(r.groups, "app:" + root + "/home/.local/share/applications/org.kde.konsole.desktop");
    ASSERT_TRUE(konsole);
    EXPECT_EQ(konsole->name, "Konsole");
    EXPECT_EQ(konsole->processes.size(), 1u) << "its shell and what runs in it stay processes";
    EXPECT_TRUE(findGroup(r.groups, "proc:bash"));
    EXPECT_TRUE(findGroup(r.groups, "proc:vim"));

    const auto* broken =
        findGroup(r.groups, "app:" + root + "/var/lib/flatpak/exports/share/applications/org.example.Broken.desktop");
    ASSERT_TRUE(broken);
    EXPECT_EQ(broken->name, "org.example.Broken") << "a broken desktop file is named after its file";
    const auto* snap =
        findGroup(r.groups, "app:" + root + "/var/lib/snapd/desktop/applications/firefox_firefox.desktop");
    ASSERT_TRUE(snap);
    EXPECT_EQ(snap->name, "Firefox Snap");

    // Steam starts through a shell script that stays alive: one app, not a shell row.
    const auto* steam = findGroup(r.groups, "app:" + root + "/usr/share/applications/steam.desktop");
    ASSERT_TRUE(steam);
    EXPECT_EQ(steam->name, "Steam");
    EXPECT_EQ(steam->processes.size(), 2u);
    EXPECT_FALSE(findGroup(r.groups, "proc:steam"));

    ASSERT_TRUE(findGroup(r.groups, "proc:mystery")) << "an app scope without a desktop file";
    // kthreadd and its kernel threads are one row under a key that survives reboots.
    const auto* kernel = findGroup(r.groups, "proc:kernel");
    ASSERT_TRUE(kernel);
    EXPECT_EQ(kernel->name, "Linux kernel");
    EXPECT_EQ(kernel->kind, ProcessKind::system);
    EXPECT_EQ(kernel->processes.size(), 2u);
    EXPECT_FALSE(findGroup(r.groups, "proc:ata_sff"));
    EXPECT_FALSE(findGroup(r.groups, "proc:kthreadd"));
    EXPECT_EQ(findGroup(r.groups, "proc:cron")->kind, ProcessKind::system);
}

TEST(LinuxProcesses, StartTimesComeFromBootTimeAndTicks) {
    LinuxProcessSource source(root);
    for (const auto& info : source.allProcesses()) {
        if (info.pid != 3001) continue;
        uint64_t hz = static_cast<uint64_t>(::sysconf(_SC_CLK_TCK));
        EXPECT_EQ(info.startTime, 1418183276ull * 1'000'000 + 82375ull * 1'000'000 / hz);
        auto usage = source.usage(info);
        ASSERT_TRUE(usage);
        EXPECT_EQ(usage->cpuTime, (1677ull + 44) * 1'000'000'000 / hz);
        if (info.uid == source.ownUID()) {
            EXPECT_EQ(usage->diskRead, 1024u);
            EXPECT_EQ(usage->diskWrite, 2048u);
        }
        EXPECT_EQ(usage->energy, 0u);
        return;
    }
    FAIL() << "pid 3001 not listed";
}

}  // namespace
}  // namespace qm

namespace qm {
namespace {

// Disk counters are reread only when the process used CPU since the last tick.
TEST(LinuxProcesses, DiskCountersFollowCPUActivity) {
    namespace fs = std::filesystem;
    fs::path copy = fs::temp_directory_path() / ("qm-proc-" + std::to_string(::getpid()));
    fs::remove_all(copy);
    fs::create_directories(copy / "proc");
    fs::copy(root + "/proc/stat", copy / "proc/stat");
    fs::copy(root + "/proc/3001", copy / "proc/3001");
    auto write = [&](const char* file, const std::string& text) {
        std::ofstream(copy / "proc/3001" / file, std::ios::trunc) << text;
    };
    auto stat = *readFile(root + "/proc/3001/stat");

    LinuxProcessSource source(copy.string());
    auto readUsage = [&] {
        auto list = source.allProcesses();
        EXPECT_EQ(list.size(), 1u);
        return list.empty() ? std::optional<UsageRecord>() : source.usage(list[0]);
    };
    auto first = readUsage();
    ASSERT_TRUE(first);
    if (!first->diskCounted) {
        EXPECT_EQ(first->diskRead, 0u);
        GTEST_SKIP() << "io is only read for our own processes (others' disk is marked not counted)";
    }
    EXPECT_EQ(first->diskRead, 1024u);

    write("io", "read_bytes: 5000\nwrite_bytes: 6000\n");
    EXPECT_EQ(readUsage()->diskRead, 1024u) << "idle since the last tick: counters carried";
    write("stat", stat.replace(stat.find(" 1677 44 "), 9, " 1678 44 "));
    auto busy = readUsage();
    EXPECT_EQ(busy->diskRead, 5000u);
    EXPECT_EQ(busy->diskWrite, 6000u);
    EXPECT_TRUE(busy->diskCounted);

    // io unreadable (a process that turned off core dumps, to anyone but root): not
    // counted, and no stale counters either.
    fs::remove(copy / "proc/3001/io");
    write("stat", stat.replace(stat.find(" 1678 44 "), 9, " 1679 44 "));
    auto hidden = readUsage();
    EXPECT_FALSE(hidden->diskCounted);
    EXPECT_EQ(hidden->diskRead, 0u);
    EXPECT_FALSE(readUsage()->diskCounted) << "still not counted while idle";
    fs::remove_all(copy);
}

}  // namespace
}  // namespace qm
