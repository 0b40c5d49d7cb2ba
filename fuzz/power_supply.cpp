// power_supply uevent files: each NUL-separated part is one supply of the machine,
// and the battery record is built from all of them.
#include <vector>

#include "FuzzInput.h"
#include "readers/PowerSupply.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<qm::SupplyProperties> supplies;
    for (std::string_view part : qm::fuzz::splitAtNul(qm::fuzz::asText(data, size)))
        supplies.push_back(qm::parseSupplyUevent(part));
    (void)qm::batteryFromSupplies(supplies);
    return 0;
}
