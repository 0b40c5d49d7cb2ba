// What hardware reports about itself: hwmon chip names and labels, and SMC values
// given as a four-character type followed by the key's raw bytes.
#include <vector>

#include "FuzzInput.h"
#include "readers/SMCValue.h"
#include "readers/SensorGroups.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text = qm::fuzz::asText(data, size);
    (void)qm::classifySensorName(text);
    (void)qm::groupForChip(text);
    if (size >= 4) {
        std::vector<uint8_t> bytes(data + 4, data + size);
        (void)qm::decodeSMCValue(text.substr(0, 4), bytes);
        (void)qm::smcCode(text.substr(0, 4));
    }
    return 0;
}
