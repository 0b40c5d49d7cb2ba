#include "readers/GPUSourceList.h"

#include "readers/GPUUtilisation.h"

namespace qm {

std::optional<double> GPUSourceList::read() {
    devices_.clear();
    std::vector<double> busy;
    for (auto& source : sources_) {
        if (auto value = source->read()) busy.push_back(*value);
        for (auto& device : source->devices()) devices_.push_back(std::move(device));
    }
    return busiestAccelerator(busy);
}

}  // namespace qm
