#include "readers/linux/GPUNvml.h"

#include <dlfcn.h>

#include <atomic>
#include <chrono>

#include "core/FileRead.h"
#include "core/Log.h"
#include "readers/GPUUtilisation.h"

namespace qm {

namespace {

double monotonicSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// The few parts of NVML's C interface used here, as its header declares them.
using nvmlReturn_t = int;
using nvmlDevice_t = struct nvmlDevice_st*;
constexpr nvmlReturn_t NVML_SUCCESS = 0;
constexpr int NVML_TEMPERATURE_GPU = 0;
constexpr unsigned NVML_DEVICE_NAME_V2_BUFFER_SIZE = 96;
struct nvmlUtilization_t {
    unsigned int gpu;
    unsigned int memory;
};
struct nvmlMemory_t {
    unsigned long long total;
    unsigned long long free;
    unsigned long long used;
};

}  // namespace

struct NvmlGPUSource::Library {
    std::string path;
    void* handle = nullptr;
    bool tried = false;
    bool initialised = false;
    std::atomic<bool> failed{false};

    nvmlReturn_t (*init)() = nullptr;
    nvmlReturn_t (*shutdown)() = nullptr;
    nvmlReturn_t (*count)(unsigned int*) = nullptr;
    nvmlReturn_t (*handleByIndex)(unsigned int, nvmlDevice_t*) = nullptr;
    nvmlReturn_t (*name)(nvmlDevice_t, char*, unsigned int) = nullptr;
    nvmlReturn_t (*utilisation)(nvmlDevice_t, nvmlUtilization_t*) = nullptr;
    nvmlReturn_t (*memory)(nvmlDevice_t, nvmlMemory_t*) = nullptr;
    nvmlReturn_t (*temperature)(nvmlDevice_t, int, unsigned int*) = nullptr;
    nvmlReturn_t (*power)(nvmlDevice_t, unsigned int*) = nullptr;

    explicit Library(std::string library) : path(std::move(library)) {}
    ~Library() {
        if (initialised) shutdown();
        if (handle) ::dlclose(handle);
    }

    template <typename F>
    bool bind(F& function, const char* symbol) {
        function = reinterpret_cast<F>(::dlsym(handle, symbol));
        return function != nullptr;
    }

    bool load() {
        tried = true;
        handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!handle) {
            logLine("NVIDIA GPU figures unavailable: " + path + " could not be loaded");
            return false;
        }
        if (!bind(init, "nvmlInit_v2") || !bind(shutdown, "nvmlShutdown") || !bind(count, "nvmlDeviceGetCount_v2") ||
            !bind(handleByIndex, "nvmlDeviceGetHandleByIndex_v2") || !bind(name, "nvmlDeviceGetName") ||
            !bind(utilisation, "nvmlDeviceGetUtilizationRates") || !bind(memory, "nvmlDeviceGetMemoryInfo") ||
            !bind(temperature, "nvmlDeviceGetTemperature") || !bind(power, "nvmlDeviceGetPowerUsage")) {
            logLine("NVIDIA GPU figures unavailable: " + path + " lacks the functions they need");
            return false;
        }
        if (nvmlReturn_t status = init(); status != NVML_SUCCESS) {
            logLine("NVIDIA GPU figures unavailable: the driver's library did not start (error " +
                    std::to_string(status) + ")");
            return false;
        }
        initialised = true;
        return true;
    }

    // Every GPU the driver knows, each figure only where its call answered.
    std::vector<GPUDevice> query() {
        std::vector<GPUDevice> found;
        if (!tried && !load()) failed = true;
        if (failed) return found;
        unsigned int devices = 0;
        if (count(&devices) != NVML_SUCCESS) return found;
        for (unsigned int i = 0; i < devices; ++i) {
            nvmlDevice_t device = nullptr;
            if (handleByIndex(i, &device) != NVML_SUCCESS) continue;  // lost, or not ours to see
            GPUDevice gpu;
            gpu.driver = "nvidia";
            char text[NVML_DEVICE_NAME_V2_BUFFER_SIZE] = {};
            gpu.name = name(device, text, sizeof text) == NVML_SUCCESS && text[0] ? std::string(text) : "NVIDIA GPU";
            if (nvmlUtilization_t rates{}; utilisation(device, &rates) == NVML_SUCCESS)
                gpu.busy = busiestAccelerator({static_cast<double>(rates.gpu)});
            if (nvmlMemory_t bytes{}; memory(device, &bytes) == NVML_SUCCESS && bytes.total > 0) {
                gpu.memoryUsed = bytes.used;
                gpu.memoryTotal = bytes.total;
            }
            if (unsigned int celsius = 0; temperature(device, NVML_TEMPERATURE_GPU, &celsius) == NVML_SUCCESS)
                gpu.temperature = celsius;
            if (unsigned int milliwatts = 0; power(device, &milliwatts) == NVML_SUCCESS)
                gpu.power = milliwatts / 1000.0;
            found.push_back(std::move(gpu));
        }
        return found;
    }
};

NvmlGPUSource::NvmlGPUSource(std::string root, std::string library, double timeLimit, Seconds seconds)
    : root_(std::move(root)),
      timeLimit_(timeLimit),
      seconds_(seconds ? std::move(seconds) : Seconds(monotonicSeconds)),
      library_(std::make_shared<Library>(std::move(library))) {}

std::optional<double> NvmlGPUSource::read() {
    const double now = seconds_();
    if (!driverPresent_ && (!checkedAt_ || now - *checkedAt_ >= rescanPeriod || now < *checkedAt_)) {
        checkedAt_ = now;
        driverPresent_ = pathExists(root_ + "/proc/driver/nvidia/gpus");
    }
    devices_.clear();
    if (!driverPresent_ || library_->failed) return std::nullopt;
    if (!worker_) worker_ = std::make_unique<BoundedWorker>();
    auto answer = worker_->run([library = library_] { return library->query(); }, timeLimit_);
    if (!answer) {
        if (!hangLogged_) logLine("NVIDIA GPU figures left out: the driver did not answer in time");
        hangLogged_ = true;
        return std::nullopt;
    }
    hangLogged_ = false;
    devices_ = std::move(*answer);
    std::vector<double> busy;
    for (const auto& device : devices_)
        if (device.busy) busy.push_back(*device.busy);
    return busiestAccelerator(busy);
}

}  // namespace qm
