#include "processes/linux/ProcStat.h"

#include "core/FileRead.h"

namespace qm {

std::optional<ProcStat> parseProcStat(std::string_view text) {
    auto open = text.find('(');
    auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
    auto pid = parseInt(text.substr(0, open));
    if (!pid) return std::nullopt;
    // Fields after the name, numbered from 3 (state) as in proc(5).
    auto rest = splitFields(text.substr(close + 1));
    auto field = [&](size_t number) -> std::optional<uint64_t> {
        size_t index = number - 3;
        return index < rest.size() ? parseUInt(rest[index]) : std::nullopt;
    };
    auto ppid = field(4);
    auto flags = field(9);
    auto utime = field(14);
    auto stime = field(15);
    auto start = field(22);
    if (!ppid || !flags || !utime || !stime || !start) return std::nullopt;
    ProcStat st;
    st.pid = static_cast<int32_t>(*pid);
    st.comm = std::string(text.substr(open + 1, close - open - 1));
    st.ppid = static_cast<int32_t>(*ppid);
    st.flags = *flags;
    st.utime = *utime;
    st.stime = *stime;
    st.startTime = *start;
    st.rssPages = field(24).value_or(0);
    st.threads = field(20).value_or(0);
    return st;
}

std::optional<Schedstat> parseSchedstat(std::string_view text) {
    auto fields = splitFields(trim(text));
    if (fields.size() < 3) return std::nullopt;
    auto runtime = parseUInt(fields[0]);
    auto timeslices = parseUInt(fields[2]);
    if (!runtime || !timeslices) return std::nullopt;
    return Schedstat{*runtime, *timeslices};
}

std::optional<uint32_t> parseStatusUID(std::string_view text) {
    for (auto line : splitLines(text)) {
        if (!line.starts_with("Uid:")) continue;
        auto fields = splitFields(line.substr(4));
        auto uid = fields.empty() ? std::nullopt : parseUInt(fields[0]);
        if (!uid || *uid > UINT32_MAX) return std::nullopt;
        return static_cast<uint32_t>(*uid);
    }
    return std::nullopt;
}

std::optional<Statm> parseStatm(std::string_view text) {
    auto fields = splitFields(trim(text));
    if (fields.size() < 3) return std::nullopt;
    auto resident = parseUInt(fields[1]);
    auto shared = parseUInt(fields[2]);
    if (!resident || !shared) return std::nullopt;
    return Statm{*resident, *shared};
}

std::optional<StatusMemory> parseStatusMemory(std::string_view text) {
    StatusMemory memory;
    int found = 0;
    for (auto line : splitLines(text)) {
        if (!line.starts_with("Rss")) continue;
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        auto key = line.substr(0, colon);
        auto fields = splitFields(line.substr(colon + 1));
        auto value = fields.empty() ? std::nullopt : parseUInt(fields[0]);
        if (!value) continue;
        if (key == "RssAnon") {
            memory.anonKiB = *value;
            ++found;
        } else if (key == "RssFile") {
            memory.fileKiB = *value;
            ++found;
        } else if (key == "RssShmem") {
            memory.shmemKiB = *value;
            ++found;
        }
    }
    if (found < 3) return std::nullopt;
    return memory;
}

std::optional<uint64_t> meminfoKiB(std::string_view text, std::string_view key) {
    for (auto line : splitLines(text)) {
        if (line.size() <= key.size() || !line.starts_with(key) || line[key.size()] != ':') continue;
        auto fields = splitFields(line.substr(key.size() + 1));
        return fields.empty() ? std::nullopt : parseUInt(fields[0]);
    }
    return std::nullopt;
}

ProcIO parseProcIO(std::string_view text) {
    ProcIO io;
    for (auto line : splitLines(text)) {
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        auto key = line.substr(0, colon);
        auto value = parseUInt(trim(line.substr(colon + 1)));
        if (!value) continue;
        if (key == "read_bytes")
            io.readBytes = *value;
        else if (key == "write_bytes")
            io.writeBytes = *value;
    }
    return io;
}

}  // namespace qm
