// Quillmere's own cost on macOS: the same resource record the process reader uses,
// for our own pid. CPU times there are in the host's absolute-time units, which is
// what mach_absolute_time() counts, so the two can be divided as they come.
#include <libproc.h>
#include <mach/mach_time.h>
#include <sys/resource.h>
#include <unistd.h>

#include "processes/Sources.h"

namespace qm {

namespace {

class DarwinSelf : public SelfSource {
public:
    std::optional<SelfRecord> read() override {
        rusage_info_v6 info{};
        if (proc_pid_rusage(getpid(), RUSAGE_INFO_V6, reinterpret_cast<rusage_info_t*>(&info)) != 0)
            return std::nullopt;
        return SelfRecord{info.ri_user_time + info.ri_system_time, info.ri_phys_footprint, info.ri_diskio_byteswritten};
    }
    uint64_t absoluteTime() override { return mach_absolute_time(); }
};

}  // namespace

std::unique_ptr<SelfSource> makeSelfSource() { return std::make_unique<DarwinSelf>(); }

}  // namespace qm
