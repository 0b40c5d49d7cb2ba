// Checks the shipped process library: it must load, and its cross-references and
// patterns must hold together.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <utility>

#include "core/FileRead.h"
#include "core/Log.h"
#include "knowledge/ProcessLibrary.h"
#include "processes/KernelGroup.h"

namespace qm {
namespace {

// Whether a text speaks of the other system: Mac (as a word), macOS, Spotlight, Finder.
bool mentionsTheOtherSystem(const std::string& text) {
    for (const char* word : {"macOS", "Spotlight", "Finder"})
        if (text.find(word) != std::string::npos) return true;
    auto isWordChar = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    for (size_t at = text.find("Mac"); at != std::string::npos; at = text.find("Mac", at + 1)) {
        const bool starts = at == 0 || !isWordChar(text[at - 1]);
        const bool ends = at + 3 == text.size() || !isWordChar(text[at + 3]);
        if (starts && ends) return true;
    }
    return false;
}

// A long name written the way Linux spells process names: lower case, digits, _.+-.
bool linuxStyleLongName(const std::string& name) {
    return name.size() > 15 && std::all_of(name.begin(), name.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                      std::string_view("_.+-").find(c) != std::string_view::npos;
           });
}

// A desktop-file id rather than a process name: reverse-domain (org.gnome.Music),
// a Snap's name_app (firefox_firefox) or a LibreOffice module (libreoffice-writer).
bool desktopFileID(const std::string& name) {
    if (std::count(name.begin(), name.end(), '.') >= 2) return true;
    if (auto underscore = name.find('_'); underscore != std::string::npos)
        if (name.substr(0, underscore) == name.substr(underscore + 1)) return true;
    return name.rfind("libreoffice-", 0) == 0;
}

TEST(LibraryFile, LoadsCleanlyWithUniqueIdsAndKnownKeys) {
    std::vector<std::string> logged;
    setLogSink([&](const std::string& line) { logged.push_back(line); });
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    setLogSink(nullptr);
    ASSERT_TRUE(logged.empty()) << logged.front();
    EXPECT_GE(library.count(), 360u);
    EXPECT_GE(library.patternCount(), 10u);

    // Unknown keys are ignored when loading, so a misspelt key would silently lose its
    // text: only the format's keys may appear.
    const auto text = readFile(QM_LIBRARY_FILE, 64 << 20);
    ASSERT_TRUE(text);
    const auto root = nlohmann::json::parse(*text);
    const std::set<std::string> entryKeys{"id",      "names",    "title",    "category",   "vendor",         "oneLiner",
                                          "summary", "whyHigh",  "whatToDo", "safeToQuit", "safeToQuitNote", "typical",
                                          "related", "keywords", "match"};
    std::set<std::string> ids;
    for (const char* list : {"processes", "patterns"})
        for (const auto& entry : root[list]) {
            for (const auto& [key, value] : entry.items()) {
                EXPECT_TRUE(entryKeys.count(key)) << entry["id"] << " has unknown key " << key;
                if (key == "typical") {
                    for (const auto& [typicalKey, _] : value.items()) {
                        EXPECT_TRUE(typicalKey == "cpu" || typicalKey == "memory") << entry["id"];
                    }
                }
            }
            EXPECT_TRUE(ids.insert(entry["id"].get<std::string>()).second) << "duplicate id " << entry["id"];
        }
}

TEST(LibraryFile, EntriesAreCompleteAndCrossReferencesResolve) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    std::set<std::string> names;
    // A text shown as it stands: not blank, no stray blanks around it, and, for the
    // sentences, a full stop (or a closing bracket) at the end.
    auto wellFormed = [](const std::string& text, bool sentence) {
        if (text.empty() || text.front() == ' ' || text.back() == ' ') return false;
        return !sentence || text.back() == '.' || text.back() == ')';
    };
    auto check = [&](const ProcessEntry& e) {
        EXPECT_TRUE(wellFormed(e.id, false) && e.id.find_first_of("/?#") == std::string::npos) << e.id;
        EXPECT_TRUE(wellFormed(e.title, false)) << e.id;
        EXPECT_TRUE(wellFormed(e.oneLiner, true)) << e.id << ": " << e.oneLiner;
        EXPECT_TRUE(!e.summary || wellFormed(*e.summary, true)) << e.id;
        for (const std::string& line : e.whyHigh) EXPECT_TRUE(wellFormed(line, true)) << e.id << ": " << line;
        for (const std::string& line : e.whatToDo) EXPECT_TRUE(wellFormed(line, true)) << e.id << ": " << line;
        for (const std::string& word : e.keywords) EXPECT_TRUE(wellFormed(word, false)) << e.id;
        ASSERT_TRUE(e.category && wellFormed(*e.category, false)) << e.id;
        EXPECT_TRUE(!e.vendor || wellFormed(*e.vendor, false)) << e.id;
        // Spelt out in lower case, with the sentence that explains it.
        ASSERT_TRUE(e.safeToQuit) << e.id;
        EXPECT_TRUE(*e.safeToQuit == "yes" || *e.safeToQuit == "caution" || *e.safeToQuit == "no")
            << e.id << ": " << *e.safeToQuit;
        EXPECT_NE(e.safety(), ProcessEntry::Safety::unknown) << e.id << ": every verdict is spelt out";
        EXPECT_TRUE(e.safeToQuitNote && wellFormed(*e.safeToQuitNote, true)) << e.id;
        if (e.typical) {
            EXPECT_TRUE(e.typical->cpu || e.typical->memory) << e.id;
            EXPECT_TRUE(!e.typical->cpu || wellFormed(*e.typical->cpu, false)) << e.id;
            EXPECT_TRUE(!e.typical->memory || wellFormed(*e.typical->memory, false)) << e.id;
        }
        for (const std::string& related : e.related) {
            EXPECT_NE(library.entry(related), nullptr) << e.id << " refers to missing " << related;
            EXPECT_NE(related, e.id) << e.id << " refers to itself";
        }
    };
    for (const ProcessEntry& e : library.entries()) {
        check(e);
        EXPECT_FALSE(e.names.empty()) << e.id;
        EXPECT_TRUE(e.typical) << e.id;
        EXPECT_FALSE(e.match) << e.id << ": a match only works in the patterns list";
        for (const std::string& name : e.names) {
            EXPECT_TRUE(wellFormed(name, false)) << e.id << ": \"" << name << "\"";
            EXPECT_TRUE(names.insert(name).second) << name << " is claimed twice; the second claim hides the first";
        }
    }
    const std::set<std::string> types{"exact", "prefix", "suffix", "contains", "regex"};
    for (size_t i = 0; i < library.patternCount(); ++i) {
        const ProcessEntry& e = *library.patternEntry(i);
        check(e);
        ASSERT_TRUE(e.match) << e.id;
        EXPECT_TRUE(types.count(e.match->type)) << e.id;
        EXPECT_FALSE(e.match->value.empty()) << e.id << ": an empty value would accept every name";
        if (e.match->type == "regex") {
            EXPECT_TRUE(library.patternCompiled(i)) << e.id << " does not compile";
        }
    }
}

TEST(LibraryFile, KnowsTheProcessesPeopleAskAbout) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    auto idOf = [&](std::string_view name) {
        const ProcessEntry* e = library.lookup(name, true);
        return e ? e->id : std::string("<none>");
    };
    EXPECT_EQ(idOf("kernel_task"), "kernel_task");
    EXPECT_EQ(idOf("mds_stores"), "mds_stores");
    EXPECT_EQ(idOf("Google Chrome Helper (Renderer)"), "google-chrome-helper");
    EXPECT_EQ(idOf("Some App Helper (GPU)"), "chromium-helper-family");
    EXPECT_EQ(idOf("com.apple.WebKit.WebContent"), "webkit-webcontent");
    EXPECT_EQ(idOf("com.apple.WebKit.Storage"), "webkit-family");
    EXPECT_EQ(idOf("com.apple.geod"), "apple-family");
    // Linux shortens process names to 15 characters; both spellings are known.
    EXPECT_EQ(idOf("systemd-journal"), "systemd-journald");
    EXPECT_EQ(idOf("tracker-miner-f"), "tracker-miner-fs");
    EXPECT_EQ(idOf("kworker/2:1-events"), "kworker-family");
    EXPECT_EQ(idOf("kworker/u16:0-flush-259:0"), "kworker-family");
    EXPECT_EQ(idOf("ksoftirqd/3"), "ksoftirqd-family");
    EXPECT_EQ(idOf("jbd2/nvme0n1p2-8"), "jbd2-family");
    EXPECT_EQ(idOf("python3.11"), "python-family");
    EXPECT_EQ(idOf("systemd-networkd"), "systemd-family");
}

// What people meet on Linux desktops and servers, spelt as the kernel reports it
// (process names are cut to 15 characters): each must reach the entry written for it,
// not merely some entry.
TEST(LibraryFile, KnowsWhatLinuxDesktopsAndServersRun) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    const std::vector<std::pair<std::string, std::string>> expected{
        {"bash", "bash"},
        {"zsh", "zsh"},
        {"fish", "fish"},
        {"tmux", "tmux"},
        {"screen", "screen"},
        {"ssh", "ssh"},
        {"sshd", "sshd"},
        {"ssh-agent", "ssh-agent"},
        {"gpg-agent", "gpg-agent"},
        {"git", "git"},
        {"make", "make"},
        {"ninja", "ninja"},
        {"vim", "vim"},
        {"nvim", "nvim"},
        {"emacs", "emacs"},
        {"sudo", "sudo"},
        {"agetty", "agetty"},
        {"login", "login"},
        {"kded6", "kded"},
        {"ksmserver", "ksmserver"},
        {"krunner", "krunner"},
        {"kwin_wayland", "kwin"},
        {"kwin_x11", "kwin"},
        {"plasmashell", "plasmashell"},
        {"baloo_file", "baloo_file"},
        {"xfwm4", "xfwm4"},
        {"xfce4-panel", "xfce4-panel"},
        {"xfdesktop", "xfdesktop"},
        {"xfsettingsd", "xfsettingsd"},
        {"Thunar", "thunar"},
        {"sway", "sway"},
        {"waybar", "waybar"},
        {"picom", "picom"},
        {"qemu-system-x86", "qemu"},
        {"qemu-system-aar", "qemu"},
        {"libvirtd", "libvirtd"},
        {"redis-server", "redis-server"},
        {"postgres", "postgres"},
        {"containerd", "containerd"},
        {"dockerd", "dockerd"},
        {"flatpak", "flatpak"},
        {"at-spi-bus-laun", "at-spi"},
        {"dconf-service", "dconf-service"},
        {"goa-daemon", "goa-daemon"},
        {"kauditd", "kauditd"},
        {"khungtaskd", "khungtaskd"},
        {"rtkit-daemon", "rtkit-daemon"},
        {"systemd", "systemd"},
        {"systemd-journal", "systemd-journald"},
        {"systemd-logind", "systemd-logind"},
        {"systemd-udevd", "systemd-udevd"},
        {"systemd-resolve", "systemd-resolved"},
        {"systemd-timesyn", "systemd-timesyncd"},
        {"systemd-oomd", "systemd-oomd"},
        {"dbus-daemon", "dbus-daemon"},
        {"dbus-broker", "dbus-daemon"},
        {"NetworkManager", "NetworkManager"},
        {"wpa_supplicant", "wpa_supplicant"},
        {"bluetoothd", "bluetoothd"},
        {"pipewire", "pipewire"},
        {"wireplumber", "wireplumber"},
        {"pipewire-pulse", "pipewire-pulse"},
        {"pulseaudio", "pulseaudio"},
        {"Xorg", "Xorg"},
        {"Xwayland", "Xwayland"},
        {"gnome-shell", "gnome-shell"},
        {"gsd-power", "gnome-settings-daemon"},
        {"gsd-media-keys", "gnome-settings-daemon"},
        {"gvfsd", "gvfsd"},
        {"gvfsd-fuse", "gvfsd"},
        {"tracker-miner-f", "tracker-miner-fs"},
        {"localsearch-3", "tracker-miner-fs"},
        {"evolution-sourc", "evolution-data-server"},
        {"gnome-software", "gnome-software"},
        {"packagekitd", "packagekitd"},
        {"snapd", "snapd"},
        {"fwupd", "fwupd"},
        {"udisksd", "udisksd"},
        {"upowerd", "upowerd"},
        {"polkitd", "polkitd"},
        {"accounts-daemon", "accounts-daemon"},
        {"colord", "colord"},
        {"cupsd", "cupsd"},
        {"avahi-daemon", "avahi-daemon"},
        {"ModemManager", "ModemManager"},
        {"thermald", "thermald"},
        {"irqbalance", "irqbalance"},
        {"cron", "cron"},
        {"rsyslogd", "rsyslogd"},
        {"chronyd", "chronyd"},
        {"nginx", "nginx"},
        {"apache2", "apache"},
        {"mysqld", "mysqld"},
        {"mariadbd", "mysqld"},
        {"node", "node"},
        {"python3", "python"},
        {"java", "java"},
        {"dotnet", "dotnet"},
        {"code", "vscode"},
        {"firefox", "firefox"},
        {"Web Content", "firefox"},
        {"Isolated Web Co", "firefox"},
        {"chrome", "google-chrome"},
        {"chromium", "google-chrome"},
        {"thunderbird", "thunderbird"},
        {"slack", "slack"},
        {"discord", "discord"},
        {"spotify", "spotify"},
        {"steam", "steam"},
        {"zoom", "zoom"},
        {"obs", "obs"},
        {"gimp", "gimp"},
        {"blender", "blender"},
        {"soffice.bin", "libreoffice"},
        {"nautilus", "nautilus"},
        {"dolphin", "dolphin"},
        {"konsole", "konsole"},
        {"gnome-terminal-", "gnome-terminal"},
        {"alacritty", "alacritty"},
        {"kitty", "kitty"},
        {"foot", "foot"},
        {"wezterm-gui", "wezterm"},
        {"cargo", "cargo"},
        {"rustc", "compiler"},
        {"gcc", "compiler"},
        {"cc1plus", "compiler"},
        {"ld", "compiler"},
        {"clang", "compiler"},
        {"ccache", "ccache"},
        {"npm", "npm"},
        {"kswapd0", "kswapd"},
        {"ksoftirqd/0", "ksoftirqd-family"},
        {"kcompactd0", "kcompactd"},
        {"khugepaged", "khugepaged"},
        {"jbd2/nvme0n1p2-8", "jbd2-family"},
        {"rcu_preempt", "rcu"},
        {"migration/3", "migration-family"},
        {"irq/126-nvme0q1", "irq-family"},
        {"watchdog/0", "watchdog-family"},
        {"kworker/u8:2", "kworker-family"},
    };
    // Nothing a Linux user reads about these speaks of the other system.
    auto mentions = [&](const ProcessEntry& e) {
        std::vector<std::string> texts{e.title, e.oneLiner, e.summary.value_or(""), e.safeToQuitNote.value_or("")};
        texts.insert(texts.end(), e.whyHigh.begin(), e.whyHigh.end());
        texts.insert(texts.end(), e.whatToDo.begin(), e.whatToDo.end());
        for (const std::string& text : texts)
            if (mentionsTheOtherSystem(text)) return text;
        return std::string();
    };
    for (const auto& [name, id] : expected) {
        const ProcessEntry* e = library.lookup(name, true);
        ASSERT_NE(e, nullptr) << name << " is not in the library";
        EXPECT_EQ(e->id, id) << name;
        EXPECT_EQ(mentions(*e), "") << name << " (" << e->id << ")";
        // A named entry says why it can be busy and what to do about it.
        if (library.entry(e->id) == e) {
            EXPECT_FALSE(e->whyHigh.empty()) << e->id;
            EXPECT_FALSE(e->whatToDo.empty()) << e->id;
        }
    }

    // Every kernel thread joins one system group named after the kernel; the group as
    // a whole is explained, whatever its threads are called at the moment.
    AppGroup kernel;
    kernel.id = std::string(kernelGroupKey);
    kernel.name = std::string(kernelGroupName);
    kernel.kind = ProcessKind::system;
    for (auto [pid, name] : {std::pair{2, "kthreadd"}, {3, "pool_workqueue_"}, {15, "kworker/0:1-events"}}) {
        ProcessSample p;
        p.pid = pid;
        p.name = name;
        kernel.processes.push_back(p);
    }
    const ProcessEntry* e = library.lookup(kernel);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->id, "linux-kernel");
}

// The kernel cuts Linux process names to 15 characters, so a long lower-case name
// must also be known by its first 15 characters (or a pattern must catch it).
// macOS reports whole names; its daemons are left out, and so are desktop-file ids
// (org.gnome.Music, a Snap's firefox_firefox, libreoffice-writer), which name files.
TEST(LibraryFile, LongLinuxNamesAreAlsoKnownCutShort) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    const std::set<std::string> macOnly{"iconservicesagent", "universalaccessd", "containermanagerd",
                                        "prl_disp_service"};
    for (const ProcessEntry& e : library.entries())
        for (const std::string& name : e.names) {
            if (!linuxStyleLongName(name) || desktopFileID(name) || name.rfind("com.", 0) == 0 || macOnly.count(name))
                continue;
            const ProcessEntry* cut = library.lookup(name.substr(0, 15), true);
            EXPECT_TRUE(cut && cut->id == e.id) << name << " of " << e.id << " is not known as " << name.substr(0, 15);
        }
}

// Linux desktop apps are grouped under their desktop file: its Name is the group's
// name and the file its bundle. Each finds the entry written for it, and never one of
// Apple's apps that happens to share the Name.
TEST(LibraryFile, KnowsLinuxDesktopAppsByTheirDesktopFiles) {
    ProcessLibrary library = ProcessLibrary::fromFile(QM_LIBRARY_FILE);
    struct Case {
        const char* name;
        const char* desktopFile;
        const char* id;  // null: no entry, rather than a wrong one
    };
    const Case cases[] = {
        {"Terminal", "/usr/share/applications/org.gnome.Terminal.desktop", "gnome-terminal"},
        {"Terminal", "/usr/share/applications/org.gnome.Ptyxis.desktop", "ptyxis"},
        {"Music", "/usr/share/applications/org.gnome.Music.desktop", "music-players"},
        {"Photos", "/usr/share/applications/org.gnome.Photos.desktop", nullptr},
        {"Files", "/usr/share/applications/org.gnome.Nautilus.desktop", "nautilus"},
        {"Settings", "/usr/share/applications/org.gnome.Settings.desktop", "gnome-control-center"},
        {"Firefox", "/var/lib/snapd/desktop/applications/firefox_firefox.desktop", "firefox"},
        {"LibreOffice Writer", "/usr/share/applications/libreoffice-writer.desktop", "libreoffice"},
        {"Spotify", "/var/lib/flatpak/exports/share/applications/com.spotify.Client.desktop", "spotify"},
        {"GNU Image Manipulation Program", "/usr/share/applications/gimp.desktop", "gimp"},
        {"Visual Studio Code", "/usr/share/applications/code.desktop", "vscode"},
        {"Konsole", "/usr/share/applications/org.kde.konsole.desktop", "konsole"},
        {"Thunar File Manager", "/usr/share/applications/thunar.desktop", "thunar"},
    };
    for (const Case& c : cases) {
        AppGroup app;
        app.id = std::string("app:") + c.desktopFile;
        app.name = c.name;
        app.kind = ProcessKind::app;
        app.bundlePath = c.desktopFile;
        const ProcessEntry* e = library.lookup(app);
        EXPECT_EQ(e ? e->id : "<none>", c.id ? c.id : "<none>") << c.name << " " << c.desktopFile;
    }
}

}  // namespace
}  // namespace qm
