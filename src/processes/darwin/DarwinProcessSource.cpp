#include "processes/darwin/DarwinProcessSource.h"

#include <libproc.h>
#include <mach/mach_time.h>
#include <sys/proc_info.h>
#include <sys/resource.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include <cstring>

#include "processes/ProcessReader.h"
#include "processes/RunCommand.h"
#include "processes/Sources.h"

namespace qm {

DarwinProcessSource::DarwinProcessSource() : ownUID_(::getuid()) {
    mach_timebase_info_data_t info{};
    if (mach_timebase_info(&info) == KERN_SUCCESS && info.denom != 0)
        timebase_ = static_cast<double>(info.numer) / static_cast<double>(info.denom);
}

std::vector<BasicInfo> DarwinProcessSource::allProcesses() {
    std::vector<BasicInfo> list;
    int mib[4] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL, 0};
    size_t size = 0;
    if (::sysctl(mib, 4, nullptr, &size, nullptr, 0) != 0 || size < 1) return list;
    // The kernel's size estimate leaves room for a few processes started meanwhile.
    std::vector<struct kinfo_proc> records(size / sizeof(struct kinfo_proc));
    size = records.size() * sizeof(struct kinfo_proc);
    if (records.empty() || ::sysctl(mib, 4, records.data(), &size, nullptr, 0) != 0) return list;
    size_t count = size / sizeof(struct kinfo_proc);
    list.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const auto& k = records[i];
        BasicInfo info;
        info.pid = k.kp_proc.p_pid;
        info.ppid = k.kp_eproc.e_ppid;
        info.uid = k.kp_eproc.e_ucred.cr_uid;
        info.comm = std::string(k.kp_proc.p_comm, strnlen(k.kp_proc.p_comm, sizeof k.kp_proc.p_comm));
        info.startTime = static_cast<uint64_t>(k.kp_proc.p_starttime.tv_sec) * 1'000'000 +
                         static_cast<uint64_t>(k.kp_proc.p_starttime.tv_usec);
        list.push_back(std::move(info));
    }
    return list;
}

uint64_t DarwinProcessSource::absoluteTime() { return mach_absolute_time(); }

// CPU times of the resource-usage record are in mach_absolute_time ticks, the unit of
// absoluteTime(), so the reader's timebase converts both alike.
std::optional<UsageRecord> DarwinProcessSource::usage(const BasicInfo& process) {
    struct rusage_info_v6 info;
    std::memset(&info, 0, sizeof info);
    if (proc_pid_rusage(process.pid, RUSAGE_INFO_V6, reinterpret_cast<rusage_info_t*>(&info)) != 0) return std::nullopt;
    UsageRecord usage;
    usage.cpuTime = info.ri_user_time + info.ri_system_time;
    usage.memory = info.ri_phys_footprint;
    usage.energy = info.ri_energy_nj;
    usage.diskRead = info.ri_diskio_bytesread;
    usage.diskWrite = info.ri_diskio_byteswritten;
    usage.wakeups = info.ri_pkg_idle_wkups + info.ri_interrupt_wkups;
    return usage;
}

std::string DarwinProcessSource::executablePath(const BasicInfo& process) {
    char buffer[4096];
    int length = proc_pidpath(process.pid, buffer, sizeof buffer);
    if (length < 1) return {};
    return std::string(buffer, strnlen(buffer, static_cast<size_t>(length)));
}

// The argument area starts with the argument count (4 bytes), then the path the
// program was started by, NUL-terminated.
std::optional<std::string> DarwinProcessSource::argumentExecutable(const BasicInfo& process) {
    int mib[3] = {CTL_KERN, KERN_PROCARGS2, process.pid};
    size_t size = 0;
    if (::sysctl(mib, 3, nullptr, &size, nullptr, 0) != 0 || size <= sizeof(int)) return std::nullopt;
    std::vector<char> area(size);
    if (::sysctl(mib, 3, area.data(), &size, nullptr, 0) != 0 || size <= sizeof(int)) return std::nullopt;
    const char* start = area.data() + sizeof(int);
    size_t length = strnlen(start, size - sizeof(int));
    if (length == 0 || length == size - sizeof(int)) return std::nullopt;  // empty or unterminated
    return std::string(start, length);
}

std::optional<std::string> DarwinProcessSource::runPS() {
    return runCommand("/bin/ps", {"-axo", "pid=,uid=,time=,rss="});
}

std::unique_ptr<ProcessListSource> makeProcessListSource() {
    return std::make_unique<ProcessReader>(std::make_unique<DarwinProcessSource>(),
                                           std::make_unique<BundleKeyResolver>(makeDarwinBundleSource()),
                                           makeXPCHelperTransport());
}

}  // namespace qm
