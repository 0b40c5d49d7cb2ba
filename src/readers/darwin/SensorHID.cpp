// Temperatures from the HID event system's sensor services and fans from the System
// Management Controller. The HID functions are private, so they are looked up at
// run time; when any is missing the machine simply has no temperature readings.
#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "readers/SMCValue.h"
#include "readers/SensorGroups.h"
#include "readers/SensorReader.h"
#include "readers/Sources.h"
#include "readers/darwin/SMCConnection.h"

namespace qm {

namespace {

using CreateClient = CFTypeRef (*)(CFAllocatorRef);
using SetMatching = int (*)(CFTypeRef client, CFDictionaryRef matching);
using CopyServices = CFArrayRef (*)(CFTypeRef client);
using CopyProperty = CFTypeRef (*)(CFTypeRef service, CFStringRef key);
using CopyEvent = CFTypeRef (*)(CFTypeRef service, int64_t type, int32_t options, int64_t timestamp);
using GetFloat = double (*)(CFTypeRef event, int32_t field);

constexpr int64_t kTemperatureEvent = 15;
constexpr int32_t kTemperatureField = kTemperatureEvent << 16;  // 0xf0000
constexpr int kAppleVendorPage = 0xff00;
constexpr int kTemperatureSensorUsage = 5;

CFNumberRef makeNumber(int value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &value); }

std::string productName(CopyProperty copyProperty, CFTypeRef service) {
    std::string name = "Sensor";
    CFTypeRef product = copyProperty(service, CFSTR("Product"));
    if (!product) return name;
    if (CFGetTypeID(product) == CFStringGetTypeID()) {
        char buffer[256];
        if (CFStringGetCString(static_cast<CFStringRef>(product), buffer, sizeof buffer, kCFStringEncodingUTF8))
            name = buffer;
    }
    CFRelease(product);
    return name;
}

class HIDSensorBackend : public SensorBackend {
public:
    HIDSensorBackend() {
        void* iokit = dlopen("/System/Library/Frameworks/IOKit.framework/IOKit", RTLD_LAZY);
        if (!iokit) return;
        auto create = reinterpret_cast<CreateClient>(dlsym(iokit, "IOHIDEventSystemClientCreate"));
        auto setMatching = reinterpret_cast<SetMatching>(dlsym(iokit, "IOHIDEventSystemClientSetMatching"));
        auto copyServices = reinterpret_cast<CopyServices>(dlsym(iokit, "IOHIDEventSystemClientCopyServices"));
        auto copyProperty = reinterpret_cast<CopyProperty>(dlsym(iokit, "IOHIDServiceClientCopyProperty"));
        copyEvent_ = reinterpret_cast<CopyEvent>(dlsym(iokit, "IOHIDServiceClientCopyEvent"));
        getFloat_ = reinterpret_cast<GetFloat>(dlsym(iokit, "IOHIDEventGetFloatValue"));
        if (!create || !setMatching || !copyServices || !copyProperty || !copyEvent_ || !getFloat_) return;

        client_ = create(kCFAllocatorDefault);
        if (!client_) return;
        CFNumberRef page = makeNumber(kAppleVendorPage), usage = makeNumber(kTemperatureSensorUsage);
        const void* keys[] = {CFSTR("PrimaryUsagePage"), CFSTR("PrimaryUsage")};
        const void* values[] = {page, usage};
        CFDictionaryRef matching = CFDictionaryCreate(kCFAllocatorDefault, keys, values, 2,
                                                      &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
        CFRelease(page);
        CFRelease(usage);
        if (!matching) return;
        setMatching(client_, matching);
        CFRelease(matching);

        services_ = copyServices(client_);  // kept for the reader's life: the handles live in it
        if (!services_) return;
        for (CFIndex i = 0, n = CFArrayGetCount(services_); i < n; ++i) {
            CFTypeRef service = CFArrayGetValueAtIndex(services_, i);
            if (!service) continue;
            std::string name = productName(copyProperty, service);
            channels_.push_back({name, classifySensorName(name)});
            handles_.push_back(service);
        }
    }

    ~HIDSensorBackend() override {
        if (services_) CFRelease(services_);
        if (client_) CFRelease(client_);
    }

    const std::vector<SensorChannel>& channels() const override { return channels_; }

    std::optional<double> readTemperature(size_t index) override {
        if (index >= handles_.size()) return std::nullopt;
        CFTypeRef event = copyEvent_(handles_[index], kTemperatureEvent, 0, 0);
        if (!event) return std::nullopt;  // a service with no event is skipped
        const double celsius = getFloat_(event, kTemperatureField);
        CFRelease(event);
        return celsius;
    }

    std::vector<FanReading> readFans() override {
        return readSMCFans(fanCount_, [this](const std::string& key) { return smc_.read(key); });
    }

    ThermalState thermalState() override { return readThermalState(); }

private:
    CopyEvent copyEvent_ = nullptr;
    GetFloat getFloat_ = nullptr;
    CFTypeRef client_ = nullptr;
    CFArrayRef services_ = nullptr;
    std::vector<CFTypeRef> handles_;
    std::vector<SensorChannel> channels_;
    SMCConnection smc_;
    std::optional<int64_t> fanCount_;
};

}  // namespace

std::unique_ptr<SensorSource> makeSensorSource() {
    return std::make_unique<SensorReader>(std::make_unique<HIDSensorBackend>());
}

}  // namespace qm
