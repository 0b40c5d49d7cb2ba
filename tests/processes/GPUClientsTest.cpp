#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "processes/linux/LinuxProcessSource.h"

namespace qm {
namespace {

namespace fs = std::filesystem;

const std::string fixture = std::string(QM_FIXTURES) + "/processes/root";

// A copy of two processes of the fixture machine (Firefox and the kernel's kthreadd)
// whose descriptors the test opens and closes.
struct GPUTree {
    fs::path root = fs::temp_directory_path() / ("qm-gpu-clients-" + std::to_string(::getpid()));
    GPUTree() {
        fs::remove_all(root);
        fs::create_directories(root / "proc");
        fs::copy(fixture + "/proc/stat", root / "proc/stat");
        fs::copy(fixture + "/proc/3001", root / "proc/3001");
        fs::copy(fixture + "/proc/2", root / "proc/2");
    }
    ~GPUTree() { fs::remove_all(root); }
    void open(int pid, int fd, const std::string& target, const std::string& fdinfo) const {
        fs::path dir = root / "proc" / std::to_string(pid);
        fs::create_directories(dir / "fd");
        fs::create_directories(dir / "fdinfo");
        fs::create_symlink(target, dir / "fd" / std::to_string(fd));
        std::ofstream(dir / "fdinfo" / std::to_string(fd)) << fdinfo;
    }
    void close(int pid, int fd) const {
        fs::path dir = root / "proc" / std::to_string(pid);
        fs::remove(dir / "fd" / std::to_string(fd));
        fs::remove(dir / "fdinfo" / std::to_string(fd));
    }
};

std::string client(int id) {
    return "pos:\t0\nflags:\t02100002\ndrm-driver:\tamdgpu\ndrm-pdev:\t0000:09:00.0\ndrm-client-id:\t" +
           std::to_string(id) + "\ndrm-engine-gfx:\t100 ns\ndrm-memory-vram:\t64 KiB\n";
}

std::vector<int> clientIds(LinuxProcessSource& source) {
    std::vector<int> ids;
    for (const auto& owned : source.gpuClients(source.allProcesses())) {
        EXPECT_EQ(owned.pid, 3001) << "a kernel thread has no GPU clients";
        ids.push_back(static_cast<int>(owned.client.id));
    }
    return ids;
}

// The descriptors are looked through when a process is first seen; after that only the
// known ones are read, until one of them is no longer a GPU client.
TEST(GPUClients, FoundOnceThenOnlyTheKnownDescriptorsAreRead) {
    GPUTree tree;
    tree.open(3001, 0, "/dev/null", "pos:\t0\nflags:\t0100002\nmnt_id:\t22\n");
    tree.open(3001, 5, "/dev/dri/renderD128", client(11));
    tree.open(3001, 6, "anon_inode:[eventfd]", "pos:\t0\neventfd-count:\t0\n");
    tree.open(2, 9, "/dev/dri/card0", client(99));
    LinuxProcessSource source(tree.root.string());

    EXPECT_EQ(clientIds(source), std::vector<int>{11});
    auto memory = source.gpuClients(source.allProcesses());
    ASSERT_EQ(memory.size(), 1u);
    EXPECT_EQ(memory[0].client.memory, 64u * 1024);

    tree.open(3001, 7, "/dev/dri/renderD129", client(12));
    EXPECT_EQ(clientIds(source), std::vector<int>{11}) << "a new descriptor waits for the next look";

    tree.close(3001, 5);
    EXPECT_TRUE(clientIds(source).empty()) << "a closed client is not counted";
    EXPECT_EQ(clientIds(source), std::vector<int>{12}) << "and the process is looked through again";
}

}  // namespace
}  // namespace qm
