// Package provenance is how Linux answers "who made this program".
#ifdef __linux__
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "core/Log.h"
#include "processes/Provenance.h"
#include "processes/SignatureCache.h"
#include "processes/linux/PackageDatabase.h"

namespace qm {
namespace {

namespace fs = std::filesystem;
using Trust = SignatureInfo::Trust;

TEST(ProvenanceTest, StorePathsAliasesAndChecksumLines) {
    auto flatpak = storeOrigin("/var/lib/flatpak/app/org.mozilla.firefox/x86_64/stable/abc/files/bin/firefox");
    ASSERT_TRUE(flatpak);
    EXPECT_EQ(flatpak->store, "Flatpak");
    EXPECT_EQ(flatpak->appID, "org.mozilla.firefox");
    auto user = storeOrigin("/home/ann/.local/share/flatpak/runtime/org.gnome.Platform/x86_64/45/a/files/bin/sh");
    ASSERT_TRUE(user);
    EXPECT_EQ(user->appID, "org.gnome.Platform");
    auto snap = storeOrigin("/snap/firefox/3600/usr/lib/firefox/firefox");
    ASSERT_TRUE(snap);
    EXPECT_EQ(snap->store, "Snap");
    EXPECT_EQ(snap->appID, "firefox");
    EXPECT_FALSE(storeOrigin("/snap/bin/firefox"));  // the launcher links, not the app
    EXPECT_FALSE(storeOrigin("/var/lib/flatpak/repo/objects/ab"));
    EXPECT_FALSE(storeOrigin("/usr/bin/ls"));
    EXPECT_FALSE(storeOrigin("/opt/var/lib/flatpak/app/x/y"));

    EXPECT_EQ(packagePathAliases("/usr/bin/ls"), (std::vector<std::string>{"/usr/bin/ls", "/bin/ls"}));
    EXPECT_EQ(packagePathAliases("/sbin/init"), (std::vector<std::string>{"/sbin/init", "/usr/sbin/init"}));
    EXPECT_EQ(packagePathAliases("/usr/libexec/x"), (std::vector<std::string>{"/usr/libexec/x"}));
    EXPECT_EQ(packagePathAliases("/usr/lib64/ld.so"), (std::vector<std::string>{"/usr/lib64/ld.so", "/lib64/ld.so"}));

    std::string sums =
        "7987cf330ff5bb94015dfbb9eae5a99f  bin/ls\n"
        "0123456789ABCDEF0123456789abcdef  usr/share/my file\n"
        "short  usr/bin/broken\n"
        "zz87cf330ff5bb94015dfbb9eae5a99f  usr/bin/bad";
    EXPECT_EQ(recordedChecksum(sums, "/bin/ls"), "7987cf330ff5bb94015dfbb9eae5a99f");
    EXPECT_EQ(recordedChecksum(sums, "/usr/share/my file"), "0123456789abcdef0123456789abcdef");
    EXPECT_FALSE(recordedChecksum(sums, "/usr/bin/broken"));
    EXPECT_FALSE(recordedChecksum(sums, "/usr/bin/bad"));
    EXPECT_FALSE(recordedChecksum(sums, "/usr/bin/ls"));
    EXPECT_EQ(packageName("binutils-common:amd64"), "binutils-common");
}

TEST(ProvenanceTest, ThisDebianMachine) {
    if (!fs::exists("/var/lib/dpkg/info/coreutils.list") || !fs::exists("/usr/bin/ls"))
        GTEST_SKIP() << "not a Debian-family machine with coreutils";
    PackageDatabase live("");
    EXPECT_EQ(live.classify("").trust, Trust::unknown);
    EXPECT_FALSE(live.indexed()) << "an empty path must not read the database";

    auto ls = live.classify("/usr/bin/ls");
    EXPECT_EQ(ls.trust, Trust::apple);
    EXPECT_EQ(ls.signer, "coreutils");
    EXPECT_TRUE(live.indexed());
    EXPECT_EQ(live.classify("/bin/ls").trust, Trust::apple);

    fs::path folder = fs::temp_directory_path() / ("quillmere-provenance-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    fs::copy_file("/usr/bin/ls", folder / "ls", fs::copy_options::overwrite_existing);
    EXPECT_EQ(live.classify((folder / "ls").string()).trust, Trust::unsigned_);
    EXPECT_EQ(live.classify((folder / "missing").string()).trust, Trust::unknown);
    EXPECT_EQ(live.classify("/usr/bin/ls (deleted)").trust, Trust::unknown);
    fs::remove_all(folder);

    // The program-wide entry point answers the same.
    EXPECT_EQ(evaluateSignature("/usr/bin/ls").trust, Trust::apple);
}

// A package database written by the test, with one file changed after installation.
struct FixtureDatabase : ::testing::Test {
    fs::path root = fs::temp_directory_path() / ("quillmere-dpkg-" + std::to_string(::getpid()));
    fs::path info = root / "var/lib/dpkg/info";
    std::vector<std::string> logged;

    void write(const fs::path& path, const std::string& text) {
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    void SetUp() override {
        setLogSink([this](const std::string& line) { logged.push_back(line); });
        write(root / "usr/bin/tool", "hello\n");
        write(root / "usr/bin/other", "changed\n");
        write(root / "usr/lib/x86_64-linux-gnu/helper", "helper\n");
        write(root / "var/lib/dpkg/lock", "");
        write(info / "tool:amd64.list", "/.\n/usr\n/usr/bin\n/usr/bin/tool\n/usr/bin/other\n");
        // The checksum of "hello\n"; "other" was shipped as "original\n" and edited since.
        write(info / "tool:amd64.md5sums",
              "b1946ac92492d2347c6235b4d2611184  usr/bin/tool\n"
              "88fa9f694690e11239096536ccf2702b  usr/bin/other\n");
        write(info / "helper.list", "/usr/lib/x86_64-linux-gnu/helper\n");  // no checksums shipped
        write(info / "half.list", "/usr/bin/written\n/usr/bin/half-writ");  // cut off mid-line
        write(info / "stale.list-new", "/usr/bin/notyet\n");
    }
    void TearDown() override {
        setLogSink(nullptr);
        fs::remove_all(root);
    }
};

TEST_F(FixtureDatabase, UnchangedModifiedUnpackagedAndBrokenDatabases) {
    PackageDatabase db(root.string());
    auto tool = db.classify("/usr/bin/tool");
    EXPECT_EQ(tool.trust, Trust::apple);
    EXPECT_EQ(tool.signer, "tool");
    auto other = db.classify("/usr/bin/other");
    EXPECT_EQ(other.trust, Trust::signed_);
    EXPECT_EQ(other.signer, "tool");
    EXPECT_NE(other.explanation(SignatureInfo::Wording::linux).find("the package tool"), std::string::npos);
    EXPECT_EQ(db.classify("/usr/lib/x86_64-linux-gnu/helper").trust, Trust::apple);

    write(root / "usr/bin/half-writ", "x");
    write(root / "usr/bin/notyet", "x");
    write(root / "usr/bin/written", "x");
    EXPECT_EQ(db.classify("/usr/bin/half-writ").trust, Trust::unsigned_) << "a cut-off line is not trusted";
    EXPECT_EQ(db.classify("/usr/bin/notyet").trust, Trust::unsigned_);
    EXPECT_EQ(db.classify("/usr/bin/written").trust, Trust::apple);
    EXPECT_EQ(db.classify("/usr/bin").trust, Trust::unknown) << "a folder is no executable";

    // While dpkg holds its lock a mismatch may be an update half done: not called modified.
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    pid_t holder = ::fork();
    if (holder == 0) {
        int fd = ::open((root / "var/lib/dpkg/lock").c_str(), O_RDWR);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        ::fcntl(fd, F_SETLK, &lock);
        char c = 'x';
        (void)!::write(ready[1], &c, 1);
        ::pause();
        ::_exit(0);
    }
    char c;
    ASSERT_EQ(::read(ready[0], &c, 1), 1);
    EXPECT_EQ(db.classify("/usr/bin/other").trust, Trust::unknown);
    EXPECT_EQ(db.classify("/usr/bin/tool").trust, Trust::apple);
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    ::close(ready[0]);
    ::close(ready[1]);

    // No database at all (another distribution): unknown, not "no package".
    PackageDatabase none((root / "nowhere").string());
    EXPECT_EQ(none.classify("/usr/bin/tool").trust, Trust::unknown);
    fs::create_directories(root / "nowhere/usr/bin");
    fs::copy_file(root / "usr/bin/tool", root / "nowhere/usr/bin/tool");
    EXPECT_EQ(none.classify("/usr/bin/tool").trust, Trust::unknown);
    EXPECT_TRUE(logged.empty());

    // A database beyond the size limit is not used, with one log line.
    PackageDatabase huge(root.string(), PackageDatabase::Limits{40, 1 << 20});
    EXPECT_EQ(huge.classify("/usr/bin/tool").trust, Trust::unknown);
    EXPECT_EQ(huge.classify("/usr/bin/other").trust, Trust::unknown);
    ASSERT_EQ(logged.size(), 1u);
    // An executable larger than the checksum limit cannot be vouched for.
    PackageDatabase small(root.string(), PackageDatabase::Limits{1 << 20, 3});
    EXPECT_EQ(small.classify("/usr/bin/tool").trust, Trust::unknown);

    EXPECT_EQ(fileMD5((root / "usr/bin/tool").string(), 100), "b1946ac92492d2347c6235b4d2611184");
    EXPECT_FALSE(fileMD5((root / "usr/bin").string(), 100));
}

}  // namespace
}  // namespace qm

#endif  // __linux__
