#include "helper/linux/ProcessRecords.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "core/HelperProtocol.h"
#include "processes/RawProcRecord.h"
#include "processes/linux/ProcStat.h"
#include "readers/linux/PowerLinux.h"

namespace qm::helper {

namespace {

// A small file below the /proc directory handle, read in one go; empty when the
// process went away or the file cannot be read.
std::string_view readAt(int dir, const std::string& name, char* buffer, size_t size) {
    int fd = ::openat(dir, name.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return {};
    ssize_t n = ::read(fd, buffer, size);
    ::close(fd);
    return n > 0 ? std::string_view(buffer, static_cast<size_t>(n)) : std::string_view();
}

}  // namespace

std::vector<uint8_t> processRecords(const std::string& proc) {
    std::vector<uint8_t> out;
    int dir = ::open(proc.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir < 0) return out;
    DIR* listing = ::fdopendir(::dup(dir));
    if (!listing) {
        ::close(dir);
        return out;
    }
    long hz = ::sysconf(_SC_CLK_TCK);
    const double nanosPerTick = 1e9 / static_cast<double>(hz > 0 ? hz : 100);
    long page = ::sysconf(_SC_PAGESIZE);
    const uint64_t pageSize = page > 0 ? static_cast<uint64_t>(page) : 4096;
    char buffer[4096];
    out.reserve(64 * 1024);
    while (dirent* entry = ::readdir(listing)) {
        const char* name = entry->d_name;
        if (name[0] < '1' || name[0] > '9') continue;
        std::string pid(name);
        auto stat = parseProcStat(readAt(dir, pid + "/stat", buffer, sizeof buffer));
        if (!stat) continue;  // gone since the listing
        RawProcRecord record;
        record.pid = stat->pid;
        record.userTime = static_cast<uint64_t>(static_cast<double>(stat->utime) * nanosPerTick);
        record.systemTime = static_cast<uint64_t>(static_cast<double>(stat->stime) * nanosPerTick);
        if (auto statm = parseStatm(readAt(dir, pid + "/statm", buffer, sizeof buffer)))
            record.footprint = (statm->residentPages - std::min(statm->sharedPages, statm->residentPages)) * pageSize;
        ProcIO io = parseProcIO(readAt(dir, pid + "/io", buffer, sizeof buffer));
        record.diskRead = io.readBytes;
        record.diskWrite = io.writeBytes;
        record.packInto(out);
    }
    ::closedir(listing);
    ::close(dir);
    return out;
}

std::vector<uint8_t> energyRecords(const std::string& root) {
    std::vector<uint8_t> out;
    for (const auto& zone : readRaplZones(root)) packEnergyZone({zone.name, zone.energyUj, zone.maxRangeUj}, out);
    return out;
}

}  // namespace qm::helper
