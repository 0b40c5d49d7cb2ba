// The privileged helper's per-process record: 64 bytes, little-endian, packed back to back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qm {

struct RawProcRecord {
    static constexpr size_t size = 64;

    int32_t pid = 0;
    int32_t reserved = 0;
    uint64_t userTime = 0;    // resource-usage time units
    uint64_t systemTime = 0;  // same units
    uint64_t footprint = 0;   // bytes
    uint64_t energy = 0;      // nanojoules
    uint64_t diskRead = 0;    // bytes
    uint64_t diskWrite = 0;   // bytes
    uint64_t wakeups = 0;     // package-idle plus interrupt wakeups

    // The helper's reply as records; a length that is not a multiple of 64 yields none.
    static std::vector<RawProcRecord> unpack(const uint8_t* data, size_t length);
    static std::vector<RawProcRecord> unpack(const std::vector<uint8_t>& data) {
        return unpack(data.data(), data.size());
    }
    // The wire form of one record (the helper's side, and tests).
    void packInto(std::vector<uint8_t>& out) const;
};

}  // namespace qm
