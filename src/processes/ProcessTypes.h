// The plain values the process reader passes between its steps and its sources.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Snapshot.h"

namespace qm {

// One entry of the kernel's process list.
struct BasicInfo {
    int32_t pid = 0;
    int32_t ppid = 0;
    uint32_t uid = 0;        // effective user id
    std::string comm;        // short command name
    uint64_t startTime = 0;  // microseconds since the Unix epoch
};

// Path and display name of one process image; valid while the start time and the
// command name match (a process that execs another program keeps its pid and start
// time, and the kernel gives it the new program's command name).
struct Identity {
    std::string path;  // empty when unknown
    std::string name;
    uint64_t startTime = 0;
    std::string comm;  // BasicInfo::comm when the identity was read
};

// One process's cumulative usage as the platform reports it. `cpuTime` is in the
// same unit as ProcessSource::absoluteTime(), so the two divide without conversion.
struct UsageRecord {
    uint64_t cpuTime = 0;
    uint64_t memory = 0;     // bytes
    uint64_t energy = 0;     // nanojoules; 0 when the platform has no figure
    uint64_t diskRead = 0;   // bytes
    uint64_t diskWrite = 0;  // bytes
    uint64_t wakeups = 0;
    // False when the platform could not read this process's disk counters (another
    // user's process on Linux without the helper): the fields above are then 0.
    bool diskCounted = true;
};

// The base for the next tick's rates.
struct Counters {
    uint64_t cpuTime = 0;
    uint64_t energy = 0;
    uint64_t diskRead = 0;
    uint64_t diskWrite = 0;
    uint64_t wakeups = 0;
    uint64_t date = 0;      // absolute-time reading taken once per read
    bool diskKnown = true;  // false: diskRead and diskWrite are no base for a rate
};

// The group a process belongs to, cached for the process's lifetime.
struct GroupKey {
    std::string key;  // "app:<path>" or "proc:<name>"
    std::string name;
    ProcessKind kind = ProcessKind::background;
    std::optional<std::string> bundlePath;
    std::optional<std::string> bundleID;
    uint64_t startTime = 0;
    std::string processName;  // the process's name it was worked out for: a new name (exec) works it out again
};

}  // namespace qm
