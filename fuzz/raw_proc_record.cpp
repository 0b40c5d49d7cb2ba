// The privileged helper's reply: whatever comes over the wire unpacks to whole records,
// and those records pack back to the very same bytes.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "processes/RawProcRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto records = qm::RawProcRecord::unpack(data, size);
    if (size % qm::RawProcRecord::size != 0) {
        if (!records.empty()) std::abort();
        return 0;
    }
    if (records.size() != size / qm::RawProcRecord::size) std::abort();
    std::vector<uint8_t> packed;
    for (const auto& record : records) record.packInto(packed);
    if (size != 0 && (packed.size() != size || std::memcmp(packed.data(), data, size) != 0)) std::abort();
    return 0;
}
