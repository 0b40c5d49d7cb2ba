// The per-process files: /proc/<pid>/stat (a command name that may hold anything),
// statm, status (the memory a process alone holds), schedstat, io and cgroup, and the
// app unit found in the cgroup path.
#include <cstdlib>

#include "FuzzInput.h"
#include "processes/AppScope.h"
#include "processes/linux/ProcStat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view text = qm::fuzz::asText(data, size);
    if (auto stat = qm::parseProcStat(text))
        if (stat->comm.size() > text.size()) std::abort();
    (void)qm::parseStatm(text);
    (void)qm::parseStatusMemory(text);
    (void)qm::parseSchedstat(text);
    (void)qm::parseProcIO(text);

    std::string cgroup = qm::systemdCgroupPath(text);
    (void)qm::isSystemServiceCgroup(cgroup);
    (void)qm::appScopeOf(cgroup);
    (void)qm::appScopeOf(text);
    (void)qm::unescapeUnitName(text);
    return 0;
}
