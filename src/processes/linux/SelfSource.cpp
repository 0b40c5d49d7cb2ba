// Quillmere's own cost: CPU time, memory footprint and bytes written, from the kernel's
// accounting of this process. CPU time and the clock are both in nanoseconds.
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "core/FileRead.h"
#include "processes/Sources.h"
#include "processes/linux/ProcStat.h"

namespace qm {

namespace {

uint64_t nanoseconds(const timeval& tv) {
    return static_cast<uint64_t>(tv.tv_sec) * 1'000'000'000ULL + static_cast<uint64_t>(tv.tv_usec) * 1000ULL;
}

class LinuxSelf : public SelfSource {
public:
    std::optional<SelfRecord> read() override {
        rusage usage{};
        if (::getrusage(RUSAGE_SELF, &usage) != 0) return std::nullopt;
        SelfRecord record;
        record.cpuTime = nanoseconds(usage.ru_utime) + nanoseconds(usage.ru_stime);
        // Always our own /proc entry, whatever root the system sources read below.
        // Its footprint as every process's: anonymous pages, not the mapped libraries.
        if (auto statm = readLine("/proc/self/statm")) {
            if (auto pages = parseStatm(*statm))
                record.footprint = (pages->residentPages - std::min(pages->sharedPages, pages->residentPages)) *
                                   static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
        }
        if (auto io = readFile("/proc/self/io")) {
            for (auto line : splitLines(*io))
                if (line.starts_with("write_bytes:")) record.bytesWritten = parseUInt(line.substr(12)).value_or(0);
        }
        return record;
    }
    uint64_t absoluteTime() override {
        timespec ts{};
        ::clock_gettime(CLOCK_MONOTONIC, &ts);
        return static_cast<uint64_t>(ts.tv_sec) * 1'000'000'000ULL + static_cast<uint64_t>(ts.tv_nsec);
    }
};

}  // namespace

std::unique_ptr<SelfSource> makeSelfSource() { return std::make_unique<LinuxSelf>(); }

}  // namespace qm
