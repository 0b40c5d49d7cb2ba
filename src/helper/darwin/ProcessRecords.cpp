#include "helper/darwin/ProcessRecords.h"

#include <libproc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>

#include "processes/RawProcRecord.h"

namespace qm {

std::vector<uint8_t> sampleAllProcessRecords() {
    std::vector<uint8_t> out;
    // The count can grow between the two calls: leave room for newcomers.
    int count = proc_listallpids(nullptr, 0);
    if (count <= 0) return out;
    std::vector<pid_t> pids(static_cast<size_t>(count) + 256);
    count = proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
    if (count <= 0) return out;
    pids.resize(std::min(pids.size(), static_cast<size_t>(count)));
    out.reserve(pids.size() * RawProcRecord::size);
    for (pid_t pid : pids) {
        struct rusage_info_v6 info;
        std::memset(&info, 0, sizeof info);
        // A process that exited since the listing simply has no record.
        if (proc_pid_rusage(pid, RUSAGE_INFO_V6, reinterpret_cast<rusage_info_t*>(&info)) != 0) continue;
        RawProcRecord record;
        record.pid = pid;
        record.userTime = info.ri_user_time;
        record.systemTime = info.ri_system_time;
        record.footprint = info.ri_phys_footprint;
        record.energy = info.ri_energy_nj;
        record.diskRead = info.ri_diskio_bytesread;
        record.diskWrite = info.ri_diskio_byteswritten;
        record.wakeups = info.ri_pkg_idle_wkups + info.ri_interrupt_wkups;
        record.packInto(out);
    }
    return out;
}

}  // namespace qm
