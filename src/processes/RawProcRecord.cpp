#include "processes/RawProcRecord.h"

namespace qm {

namespace {
// Byte by byte, so the result does not depend on the host's byte order or alignment.
uint64_t littleEndian(const uint8_t* p, int width) {
    uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i) value = (value << 8) | p[i];
    return value;
}

void appendLittleEndian(std::vector<uint8_t>& out, uint64_t value, int width) {
    for (int i = 0; i < width; ++i) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
}
}  // namespace

std::vector<RawProcRecord> RawProcRecord::unpack(const uint8_t* data, size_t length) {
    std::vector<RawProcRecord> records;
    if (!data || length % size != 0) return records;
    records.reserve(length / size);
    for (size_t offset = 0; offset < length; offset += size) {
        const uint8_t* p = data + offset;
        RawProcRecord r;
        r.pid = static_cast<int32_t>(static_cast<uint32_t>(littleEndian(p, 4)));
        r.reserved = static_cast<int32_t>(static_cast<uint32_t>(littleEndian(p + 4, 4)));
        r.userTime = littleEndian(p + 8, 8);
        r.systemTime = littleEndian(p + 16, 8);
        r.footprint = littleEndian(p + 24, 8);
        r.energy = littleEndian(p + 32, 8);
        r.diskRead = littleEndian(p + 40, 8);
        r.diskWrite = littleEndian(p + 48, 8);
        r.wakeups = littleEndian(p + 56, 8);
        records.push_back(r);
    }
    return records;
}

void RawProcRecord::packInto(std::vector<uint8_t>& out) const {
    appendLittleEndian(out, static_cast<uint32_t>(pid), 4);
    appendLittleEndian(out, static_cast<uint32_t>(reserved), 4);
    for (uint64_t field : {userTime, systemTime, footprint, energy, diskRead, diskWrite, wakeups})
        appendLittleEndian(out, field, 8);
}

}  // namespace qm
