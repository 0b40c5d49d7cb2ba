// Battery and whole-machine power on macOS: the power-source API for charge and
// times, the smart-battery registry entry for everything else. Each read copies the
// maps out and hands them to the portable parsers.
#include <IOKit/IOKitLib.h>
#include <IOKit/ps/IOPowerSources.h>

#include <memory>
#include <vector>

#include "readers/BatteryMaps.h"
#include "readers/Sources.h"
#include "readers/darwin/BatteryHealthDarwin.h"
#include "readers/darwin/PowerPropertyMap.h"

namespace qm {

namespace {

std::vector<PropertyMap> powerSourceDescriptions() {
    std::vector<PropertyMap> descriptions;
    CFTypeRef info = IOPSCopyPowerSourcesInfo();
    if (!info) return descriptions;
    CFArrayRef list = IOPSCopyPowerSourcesList(info);
    if (list) {
        for (CFIndex i = 0, n = CFArrayGetCount(list); i < n; ++i) {
            // The description belongs to `info`: not released here.
            CFDictionaryRef description = IOPSGetPowerSourceDescription(info, CFArrayGetValueAtIndex(list, i));
            if (description) descriptions.push_back(propertyFromCF(description));
        }
        CFRelease(list);
    }
    CFRelease(info);
    return descriptions;
}

std::optional<PropertyMap> smartBatteryProperties() {
    io_service_t service = IOServiceGetMatchingService(MACH_PORT_NULL, IOServiceMatching("AppleSmartBattery"));
    if (!service) return std::nullopt;
    CFMutableDictionaryRef properties = nullptr;
    std::optional<PropertyMap> map;
    if (IORegistryEntryCreateCFProperties(service, &properties, kCFAllocatorDefault, 0) == KERN_SUCCESS && properties) {
        map = propertyFromCF(properties);
        CFRelease(properties);
    }
    IOObjectRelease(service);
    return map;
}

class DarwinPowerSource : public PowerSource {
public:
    std::optional<PowerReading> read() override {
        BatteryStats battery = batteryFromPowerSources(powerSourceDescriptions());
        auto smart = smartBatteryProperties();
        // A Mac without a battery never starts the system profiler.
        auto health = battery.present ? appleBatteryHealth().maximumCapacity() : std::nullopt;
        return applySmartBattery(battery, smart ? &*smart : nullptr, health);
    }
};

}  // namespace

std::unique_ptr<PowerSource> makePowerSource() { return std::make_unique<DarwinPowerSource>(); }

}  // namespace qm
