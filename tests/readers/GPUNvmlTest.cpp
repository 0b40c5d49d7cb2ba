#include <gtest/gtest.h>

#include <dlfcn.h>

#include <chrono>
#include <thread>

#include "SensorTestTree.h"
#include "core/Log.h"
#include "readers/GPUSourceList.h"
#include "readers/linux/GPUDrm.h"
#include "readers/linux/GPUNvml.h"

namespace qm {
namespace {

using testing::fixtureRoot;
using testing::SensorTestTree;

// The stand-in library, and how it should behave: 0 answers, 1 fails to start, 2 hangs.
struct StandIn {
    void* handle = ::dlopen(QM_NVML_STANDIN, RTLD_NOW | RTLD_LOCAL);
    void mode(int value) const { reinterpret_cast<void (*)(int)>(::dlsym(handle, "qmStandInMode"))(value); }
    int starts() const { return reinterpret_cast<int (*)()>(::dlsym(handle, "qmStandInStarts"))(); }
};

struct LogLines {
    std::vector<std::string> lines;
    LogLines() {
        setLogSink([this](const std::string& line) { lines.push_back(line); });
    }
    ~LogLines() { setLogSink(nullptr); }
};

TEST(NvmlGPU, FiguresOfEveryGPUTheDriverAnswersFor) {
    StandIn standIn;
    ASSERT_TRUE(standIn.handle);
    standIn.mode(0);
    SensorTestTree tree;
    tree.write("proc/driver/nvidia/gpus/0000:01:00.0/information", "Model: stand-in");
    NvmlGPUSource source(tree.root(), QM_NVML_STANDIN);
    EXPECT_EQ(source.read(), 81);
    ASSERT_EQ(source.devices().size(), 2u) << "a GPU that fell off the bus is left out";
    EXPECT_EQ(source.devices()[0],
              (GPUDevice{"NVIDIA GeForce RTX 4070", "nvidia", 37, 3ull << 30, 12ull << 30, 61.0, 95.5}));
    EXPECT_FALSE(source.devices()[1].temperature) << "a figure the GPU does not support stays absent";
    EXPECT_EQ(source.devices()[1].power, 48.0);

    // Next to the DRM cards: one list, the busiest of all.
    std::vector<std::unique_ptr<GPUSource>> sources;
    sources.push_back(std::make_unique<DrmGPUSource>(fixtureRoot("amd-desktop")));
    sources.push_back(std::make_unique<NvmlGPUSource>(tree.root(), QM_NVML_STANDIN));
    GPUSourceList all(std::move(sources));
    EXPECT_EQ(all.read(), 81);
    EXPECT_EQ(all.devices().size(), 4u);
}

TEST(NvmlGPU, NoDriverMissingOrFailingLibraryGiveAbsentFiguresAndOneLogLine) {
    StandIn standIn;
    ASSERT_TRUE(standIn.handle);
    LogLines log;
    SensorTestTree noDriver;
    const int startsBefore = standIn.starts();
    NvmlGPUSource withoutDriver(noDriver.root(), QM_NVML_STANDIN);
    EXPECT_FALSE(withoutDriver.read());
    EXPECT_EQ(standIn.starts(), startsBefore) << "no kernel driver: the library is not even loaded";

    SensorTestTree tree;
    tree.write("proc/driver/nvidia/gpus/0000:01:00.0/information", "Model: stand-in");
    NvmlGPUSource missing(tree.root(), tree.root() + "/libnvidia-ml.so.1");
    EXPECT_FALSE(missing.read());
    EXPECT_FALSE(missing.read());
    EXPECT_TRUE(missing.devices().empty());
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_NE(log.lines[0].find("could not be loaded"), std::string::npos);

    standIn.mode(1);
    NvmlGPUSource failing(tree.root(), QM_NVML_STANDIN);
    EXPECT_FALSE(failing.read());
    EXPECT_FALSE(failing.read());
    EXPECT_EQ(standIn.starts(), startsBefore + 1) << "a library that failed to start is not started again";
    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_NE(log.lines[1].find("did not start"), std::string::npos);
    standIn.mode(0);
}

// A driver that hangs holds up nothing: the read comes back empty at the time limit,
// says so once, and starts nothing new until the hung call has returned.
TEST(NvmlGPU, AHangingDriverNeverBlocksTheRead) {
    StandIn standIn;
    ASSERT_TRUE(standIn.handle);
    LogLines log;
    SensorTestTree tree;
    tree.write("proc/driver/nvidia/gpus/0000:01:00.0/information", "Model: stand-in");
    NvmlGPUSource source(tree.root(), QM_NVML_STANDIN, 0.01);
    standIn.mode(2);
    EXPECT_FALSE(source.read());
    EXPECT_TRUE(source.devices().empty());
    EXPECT_FALSE(source.read()) << "still hung";
    EXPECT_EQ(log.lines.size(), 1u);
    standIn.mode(0);
    std::optional<double> answer;
    for (int i = 0; i < 500 && !answer; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        answer = source.read();
    }
    EXPECT_EQ(answer, 81) << "figures come back once the driver answers again";
}

}  // namespace
}  // namespace qm
