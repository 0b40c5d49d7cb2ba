// GPU utilisation on macOS from every accelerator's "PerformanceStatistics".
#include <IOKit/IOKitLib.h>

#include <memory>
#include <vector>

#include "readers/GPUUtilisation.h"
#include "readers/Sources.h"
#include "readers/darwin/PowerPropertyMap.h"

namespace qm {

namespace {

class DarwinGPUSource : public GPUSource {
public:
    std::optional<double> read() override {
        io_iterator_t iterator = 0;
        if (IOServiceGetMatchingServices(MACH_PORT_NULL, IOServiceMatching("IOAccelerator"), &iterator) != KERN_SUCCESS)
            return std::nullopt;
        std::vector<double> values;
        while (io_registry_entry_t entry = IOIteratorNext(iterator)) {
            CFTypeRef statistics =
                IORegistryEntryCreateCFProperty(entry, CFSTR("PerformanceStatistics"), kCFAllocatorDefault, 0);
            if (statistics) {
                if (auto value = acceleratorUtilisation(propertyFromCF(statistics))) values.push_back(*value);
                CFRelease(statistics);
            }
            IOObjectRelease(entry);
        }
        IOObjectRelease(iterator);
        return busiestAccelerator(values);
    }
};

}  // namespace

std::unique_ptr<GPUSource> makeGPUSource() { return std::make_unique<DarwinGPUSource>(); }

}  // namespace qm
