// A process's memory on Linux is what it alone holds: its anonymous pages and its part
// of the shared memory it maps, never the libraries and files mapped in every process.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include "core/FileRead.h"
#include "processes/linux/LinuxProcessSource.h"

namespace qm {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t KiB = 1024;
constexpr uint64_t MiB = 1024 * KiB;

// Three processes caught from a real machine: a parent that mapped 24 MiB of shared
// memory and two forked children that read all of it (one also wrote 8 MiB of its
// own), and kthreadd. Every one of the three has 24 MiB in RssShmem.
const std::string footprintTree = std::string(QM_FIXTURES) + "/processes/footprint";

std::map<int32_t, uint64_t> memoryByPid(LinuxProcessSource& source) {
    std::map<int32_t, uint64_t> memory;
    for (const auto& info : source.allProcesses())
        if (auto usage = source.usage(info)) memory[info.pid] = usage->memory;
    return memory;
}

void writeFile(const fs::path& path, const std::string& text) { std::ofstream(path) << text; }

TEST(Footprint, SharedMemoryIsSharedOutAndMappedFilesNeverCount) {
    LinuxProcessSource source(footprintTree);
    auto memory = memoryByPid(source);
    ASSERT_EQ(memory.size(), 4u);
    EXPECT_EQ(memory[2], 0u) << "a kernel thread holds nothing of its own";

    // RssAnon of each, and the machine's Shmem (58,024 KiB) over the 73,728 KiB the
    // three map between them.
    const double share = 24576.0 * 58024.0 / 73728.0 * KiB;
    EXPECT_NEAR(static_cast<double>(memory[11087]), 6912 * KiB + share, 4096);
    EXPECT_NEAR(static_cast<double>(memory[11129]), 6912 * KiB + share, 4096);
    EXPECT_NEAR(static_cast<double>(memory[11130]), 15108 * KiB + share, 4096);
    const uint64_t total = memory[11087] + memory[11129] + memory[11130];
    EXPECT_NEAR(static_cast<double>(total), (6912 + 6912 + 15108 + 58024) * KiB, 3 * 4096)
        << "the list adds up to the anonymous pages plus the machine's shared memory";
    EXPECT_LT(memory[11087], (6912 + 6684 + 24576) * KiB) << "less than the resident size, which counts libraries";

    // A copy of the tree where shared memory is mostly unmapped tmpfs files: the
    // processes' parts are whole, never more. Without meminfo they are whole too.
    auto copy = fs::temp_directory_path() / ("qm-footprint-" + std::to_string(::getpid()));
    fs::remove_all(copy);
    fs::copy(footprintTree, copy, fs::copy_options::recursive);
    writeFile(copy / "proc/meminfo", "MemTotal: 24684084 kB\nAnonPages: 790388 kB\nShmem: 900000 kB\n");
    {
        LinuxProcessSource roomy(copy.string());
        auto whole = memoryByPid(roomy);
        EXPECT_EQ(whole[11087], (6912 + 24576) * KiB);
        EXPECT_EQ(whole[11130], (15108 + 24576) * KiB);
    }
    fs::remove(copy / "proc/meminfo");
    LinuxProcessSource bare(copy.string());
    auto first = memoryByPid(bare);
    EXPECT_EQ(first[11129], (6912 + 24576) * KiB);

    // Later ticks: statm alone while the shared pages stay the same (resident − shared
    // is the anonymous part); status again once they moved. Child 11130's statm is
    // "12343 10698 6921 ...": it grows by 1,000 pages of its own, then unmaps 4,096
    // pages of shared memory, which status tells apart from files.
    writeFile(copy / "proc/11130/statm", "12343 11698 6921 1 0 4069 0\n");
    auto grown = memoryByPid(bare);
    EXPECT_EQ(grown[11130], (15108 + 24576) * KiB + 1000 * 4096);
    writeFile(copy / "proc/11130/statm", "12343 7602 2825 1 0 4069 0\n");
    std::string status = readFile((copy / "proc/11130/status").string()).value_or("");
    auto at = status.find("RssShmem:");
    ASSERT_NE(at, std::string::npos);
    status.replace(at, status.find('\n', at) - at, "RssShmem:\t    8192 kB");
    writeFile(copy / "proc/11130/status", status);
    auto shrunk = memoryByPid(bare);
    EXPECT_EQ(shrunk[11130], (7602 - 2825) * 4096 + 8192 * KiB);
    EXPECT_EQ(shrunk[11087], first[11087]) << "the others are unchanged";
    fs::remove_all(copy);

    auto statm = parseStatm("12343 10698 6921 1 0 4069 0\n");
    ASSERT_TRUE(statm);
    EXPECT_EQ(statm->residentPages, 10698u);
    EXPECT_EQ(statm->sharedPages, 6921u);
    EXPECT_FALSE(parseStatm("12343 10698\n"));
    EXPECT_FALSE(parseStatusMemory("Name:\tkthreadd\nVmRSS:\t0 kB\n")) << "no split: absent, not zero";
}

// A real child that holds a private buffer reads as that buffer (plus what it held
// before), whatever libraries it maps.
TEST(Footprint, PrivateBufferOfALiveChild) {
    constexpr size_t buffer = 96 * MiB;
    int go[2], ready[2];
    ASSERT_EQ(::pipe(go), 0);
    ASSERT_EQ(::pipe(ready), 0);
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        char byte;
        if (::read(go[0], &byte, 1) != 1) ::_exit(1);
        void* memory = ::mmap(nullptr, buffer, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) ::_exit(1);
        std::memset(memory, 1, buffer);
        if (::write(ready[1], "r", 1) != 1) ::_exit(1);
        ::pause();
        ::_exit(0);
    }
    auto anonKiB = [&] {
        auto status = readFile("/proc/" + std::to_string(child) + "/status");
        auto memory = status ? parseStatusMemory(*status) : std::nullopt;
        return memory ? memory->anonKiB : 0;
    };
    const uint64_t before = anonKiB() * KiB;  // copy-on-write pages shared with this test
    char byte = 'g';
    ASSERT_EQ(::write(go[1], &byte, 1), 1);
    ASSERT_EQ(::read(ready[0], &byte, 1), 1);

    LinuxProcessSource source("");
    auto memory = memoryByPid(source);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    for (int fd : {go[0], go[1], ready[0], ready[1]}) ::close(fd);

    ASSERT_TRUE(memory.contains(child));
    EXPECT_NEAR(static_cast<double>(memory[child]), static_cast<double>(before + buffer), 0.05 * buffer);
}

}  // namespace
}  // namespace qm
