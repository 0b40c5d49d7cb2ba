#include "history/WalCheck.h"

#include <filesystem>
#include <vector>

#include "core/FileRead.h"
#include "history/HistoryFiles.h"

namespace qm {

namespace {

constexpr size_t headerBytes = 32;
constexpr size_t frameHeaderBytes = 24;

uint32_t bigEndian(const std::string& bytes, size_t at) {
    const auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + i])); };
    return (b(0) << 24) | (b(1) << 16) | (b(2) << 8) | b(3);
}

uint32_t word(const std::string& bytes, size_t at, bool big) {
    if (big) return bigEndian(bytes, at);
    const auto b = [&](size_t i) { return static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + i])); };
    return (b(3) << 24) | (b(2) << 16) | (b(1) << 8) | b(0);
}

// The log's running checksum over `length` bytes (a multiple of 8) from `at`.
void checksum(const std::string& bytes, size_t at, size_t length, bool big, uint32_t& s0, uint32_t& s1) {
    for (size_t i = at; i + 8 <= at + length; i += 8) {
        s0 += word(bytes, i, big) + s1;
        s1 += word(bytes, i + 4, big) + s0;
    }
}

}  // namespace

bool walIsDamaged(const std::string& walPath) {
    const uint64_t size = fileBytes(walPath);
    if (size <= headerBytes) return false;
    auto text = readFile(walPath, static_cast<size_t>(size));
    if (!text || text->size() <= headerBytes) return false;
    const std::string& wal = *text;
    const uint32_t magic = bigEndian(wal, 0);
    if (magic != 0x377f0682 && magic != 0x377f0683) return true;  // frames follow a header that is not a log's
    const bool big = (magic & 1) != 0;
    const uint32_t pageSize = bigEndian(wal, 8);
    const uint32_t salt1 = bigEndian(wal, 16), salt2 = bigEndian(wal, 20);
    uint32_t s0 = 0, s1 = 0;
    checksum(wal, 0, 24, big, s0, s1);
    if (s0 != bigEndian(wal, 24) || s1 != bigEndian(wal, 28)) return true;
    const size_t page = pageSize == 1 ? 65536 : pageSize;
    if (page < 512 || (page & (page - 1)) != 0) return true;

    bool failed = false;
    for (size_t at = headerBytes; at + frameHeaderBytes + page <= wal.size(); at += frameHeaderBytes + page) {
        // Frames of an earlier generation (other salts) are leftovers, not damage.
        const bool current = bigEndian(wal, at + 8) == salt1 && bigEndian(wal, at + 12) == salt2;
        if (failed) {
            // A commit after the break: committed work SQLite would drop. Frames of a
            // transaction that never committed (a writer killed half-way) are not.
            if (current && bigEndian(wal, at + 4) != 0) return true;
            continue;
        }
        if (!current) return false;
        checksum(wal, at, 8, big, s0, s1);
        checksum(wal, at + frameHeaderBytes, page, big, s0, s1);
        if (s0 != bigEndian(wal, at + 16) || s1 != bigEndian(wal, at + 20)) failed = true;
    }
    return false;
}

std::optional<std::string> keepDamagedWal(const std::string& databasePath, int64_t utcSeconds) {
    // The same time stamp as a database moved aside in the same second.
    const std::string base = databasePath + ".wal-damaged-" + corruptName("", utcSeconds).substr(9);
    std::string target = base;
    std::error_code error;
    for (int n = 2; std::filesystem::exists(target, error); ++n) target = base + "-" + std::to_string(n);
    std::filesystem::copy_file(databasePath + "-wal", target, error);
    if (error) return std::nullopt;
    return target;
}

}  // namespace qm
