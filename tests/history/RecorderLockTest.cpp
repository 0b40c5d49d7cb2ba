#include "history/RecorderLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "TempDirectory.h"

using namespace qm;
using qm::testing::TempDirectory;

TEST(RecorderLock, EveryNameOfTheSameFileMeetsTheSameLock) {
    TempDirectory dir;
    const std::string real = dir.file("history.sqlite");
    std::ofstream(real) << "";
    std::filesystem::create_directory(dir.file("sub"));
    std::filesystem::create_symlink(real, dir.file("link.sqlite"));
    std::filesystem::create_directory_symlink(dir.path(), dir.file("alias"));

    RecorderLock first(real);
    ASSERT_TRUE(first.acquired()) << first.error();
    EXPECT_TRUE(RecorderLock::heldByThisProcess(real));
    for (const std::string& other : {dir.file("link.sqlite"), dir.file("sub/../history.sqlite"),
                                     dir.path() + "//history.sqlite", dir.file("alias/history.sqlite")}) {
        RecorderLock second(other);
        EXPECT_FALSE(second.acquired()) << other;
        ASSERT_TRUE(second.holder().has_value()) << other;
        EXPECT_EQ(*second.holder(), ::getpid());
        EXPECT_TRUE(RecorderLock::heldByThisProcess(other)) << other;
    }
    EXPECT_FALSE(RecorderLock::heldByThisProcess(dir.file("other.sqlite")));

    // Names no resolving reveals: a hard link (two names, two write-ahead logs), and
    // the file renamed under the recorder (one name, but the file is locked).
    std::filesystem::create_hard_link(real, dir.file("hard.sqlite"));
    RecorderLock hard(dir.file("hard.sqlite"));
    EXPECT_FALSE(hard.acquired());
    EXPECT_NE(hard.error().find("hard links"), std::string::npos) << hard.error();
    std::filesystem::remove(dir.file("hard.sqlite"));
    std::filesystem::rename(real, dir.file("renamed.sqlite"));
    RecorderLock renamed(dir.file("renamed.sqlite"));
    EXPECT_FALSE(renamed.acquired());
    EXPECT_NE(renamed.error().find("under another name"), std::string::npos) << renamed.error();
}

TEST(RecorderLock, NeverTakesAStandardStreamAndIsReleasedWhenDestroyed) {
    TempDirectory dir;
    const std::string db = dir.file("history.sqlite");
    // With standard output closed, the next open() would hand out descriptor 1.
    int savedOut = ::dup(STDOUT_FILENO);
    ::close(STDOUT_FILENO);
    {
        RecorderLock lock(db);
        int probe = ::open("/dev/null", O_RDONLY);
        EXPECT_EQ(probe, STDOUT_FILENO) << "the lock file took descriptor 1";
        if (probe >= 0) ::close(probe);
        ::dup2(savedOut, STDOUT_FILENO);
        ::close(savedOut);
        ASSERT_TRUE(lock.acquired());
    }
    EXPECT_FALSE(RecorderLock::heldByThisProcess(db));
    RecorderLock again(db);
    EXPECT_TRUE(again.acquired());
}
