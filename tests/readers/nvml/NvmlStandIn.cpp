// A stand-in for NVIDIA's management library, built only for the tests: the few
// functions the NVML reader calls, answering from a scripted machine of two GPUs.
// qmStandInMode picks how it behaves: 0 answers, 1 fails to start, 2 hangs.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <thread>

namespace {
std::atomic<int> mode{0};
std::atomic<int> starts{0};

struct Device {
    const char* name;
    unsigned busy;
    unsigned long long total, used;
    int celsius;  // < 0: not supported
    unsigned milliwatts;
};
Device devices[] = {{"NVIDIA GeForce RTX 4070", 37, 12ull << 30, 3ull << 30, 61, 95'500},
                    {"NVIDIA A2", 81, 16ull << 30, 15ull << 30, -1, 48'000}};

Device* from(void* handle) {
    auto index = reinterpret_cast<uintptr_t>(handle);
    return index >= 1 && index <= 2 ? &devices[index - 1] : nullptr;
}
}  // namespace

extern "C" {

__attribute__((visibility("default"))) void qmStandInMode(int value) { mode = value; }
__attribute__((visibility("default"))) int qmStandInStarts() { return starts; }

__attribute__((visibility("default"))) int nvmlInit_v2() {
    ++starts;
    return mode == 1 ? 9 : 0;  // NVML_ERROR_DRIVER_NOT_LOADED
}
__attribute__((visibility("default"))) int nvmlShutdown() { return 0; }
__attribute__((visibility("default"))) int nvmlDeviceGetCount_v2(unsigned* count) {
    *count = 3;  // the third one fell off the bus
    return 0;
}
__attribute__((visibility("default"))) int nvmlDeviceGetHandleByIndex_v2(unsigned index, void** handle) {
    if (index >= 2) return 15;  // NVML_ERROR_GPU_IS_LOST
    *handle = reinterpret_cast<void*>(static_cast<uintptr_t>(index + 1));
    return 0;
}
__attribute__((visibility("default"))) int nvmlDeviceGetName(void* handle, char* name, unsigned length) {
    std::snprintf(name, length, "%s", from(handle)->name);
    return 0;
}
__attribute__((visibility("default"))) int nvmlDeviceGetUtilizationRates(void* handle, unsigned* rates) {
    if (mode == 2) std::this_thread::sleep_for(std::chrono::milliseconds(300));
    rates[0] = from(handle)->busy;
    rates[1] = 5;
    return 0;
}
__attribute__((visibility("default"))) int nvmlDeviceGetMemoryInfo(void* handle, unsigned long long* memory) {
    memory[0] = from(handle)->total;
    memory[1] = from(handle)->total - from(handle)->used;
    memory[2] = from(handle)->used;
    return 0;
}
__attribute__((visibility("default"))) int nvmlDeviceGetTemperature(void* handle, int sensor, unsigned* celsius) {
    if (sensor != 0 || from(handle)->celsius < 0) return 3;  // NVML_ERROR_NOT_SUPPORTED
    *celsius = static_cast<unsigned>(from(handle)->celsius);
    return 0;
}
__attribute__((visibility("default"))) int nvmlDeviceGetPowerUsage(void* handle, unsigned* milliwatts) {
    *milliwatts = from(handle)->milliwatts;
    return 0;
}
}
