#include "readers/LinuxFormats.h"

#include "core/FileRead.h"

namespace qm {

namespace {

// Calls `each(number, counters)` for every per-CPU line of /proc/stat until one is
// malformed (the CPUs after it are not trusted).
template <typename Each>
void forEachCPULine(std::string_view procStat, Each each) {
    for (auto line : splitLines(procStat)) {
        if (!line.starts_with("cpu") || line.size() < 4 || line[3] < '0' || line[3] > '9') continue;
        auto fields = splitFields(line);
        // cpuN user nice system idle iowait irq softirq steal ...; older kernels stop early.
        uint64_t v[8] = {0, 0, 0, 0, 0, 0, 0, 0};
        if (fields.size() < 5) break;
        bool ok = true;
        for (size_t i = 0; i < 8 && i + 1 < fields.size(); ++i) {
            auto value = parseUInt(fields[i + 1]);
            if (!value) {
                ok = false;
                break;
            }
            v[i] = *value;
        }
        auto number = parseInt(fields[0].substr(3));
        if (!ok || !number || *number < 0 || *number > 1 << 20) break;
        each(static_cast<int>(*number), v);
    }
}

}  // namespace

std::vector<uint32_t> parseProcStatCPUs(std::string_view procStat) {
    std::vector<uint32_t> counters;
    forEachCPULine(procStat, [&](int, const uint64_t(&v)[8]) {
        const uint64_t user = v[0], nice = v[1], system = v[2] + v[5] + v[6] + v[7], idle = v[3] + v[4];
        counters.push_back(static_cast<uint32_t>(user));
        counters.push_back(static_cast<uint32_t>(system));
        counters.push_back(static_cast<uint32_t>(idle));
        counters.push_back(static_cast<uint32_t>(nice));
    });
    return counters;
}

std::vector<int> parseProcStatCPUNumbers(std::string_view procStat) {
    std::vector<int> numbers;
    forEachCPULine(procStat, [&](int number, const uint64_t(&)[8]) { numbers.push_back(number); });
    return numbers;
}

std::optional<int64_t> parseBootTime(std::string_view procStat) {
    for (auto line : splitLines(procStat)) {
        if (!line.starts_with("btime ")) continue;
        return parseInt(line.substr(6));
    }
    return std::nullopt;
}

std::vector<InterfaceCounters> parseNetDev(std::string_view netDev) {
    std::vector<InterfaceCounters> result;
    for (auto line : splitLines(netDev)) {
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;  // the two header lines
        auto name = trim(line.substr(0, colon));
        auto fields = splitFields(line.substr(colon + 1));
        if (name.empty() || fields.size() < 9) continue;
        auto rx = parseUInt(fields[0]);
        auto tx = parseUInt(fields[8]);
        if (!rx || !tx) continue;
        result.push_back({std::string(name), *rx, *tx});
    }
    return result;
}

std::vector<DiskCounters> parseDiskstats(std::string_view diskstats) {
    std::vector<DiskCounters> result;
    for (auto line : splitLines(diskstats)) {
        auto fields = splitFields(line);
        // major minor name reads merged sectors ms writes merged sectors ...
        if (fields.size() < 10) continue;
        auto read = parseUInt(fields[5]);
        auto written = parseUInt(fields[9]);
        if (!read || !written) continue;
        result.push_back({std::string(fields[2]), *read, *written});
    }
    return result;
}

bool isVirtualBlockDevice(std::string_view name) {
    for (std::string_view prefix : {"loop", "ram", "zram", "dm-", "md", "nbd"})
        if (name.starts_with(prefix)) return true;
    return false;
}

std::vector<int> parseCPUList(std::string_view list) {
    std::vector<int> cpus;
    list = trim(list);
    size_t start = 0;
    while (start <= list.size()) {
        auto end = list.find(',', start);
        if (end == std::string_view::npos) end = list.size();
        auto part = trim(list.substr(start, end - start));
        auto dash = part.find('-');
        if (dash == std::string_view::npos) {
            if (auto v = parseUInt(part); v && *v < 65536) cpus.push_back(static_cast<int>(*v));
        } else {
            auto lo = parseUInt(part.substr(0, dash));
            auto hi = parseUInt(part.substr(dash + 1));
            if (lo && hi && *lo <= *hi && *hi < 65536)
                for (uint64_t c = *lo; c <= *hi; ++c) cpus.push_back(static_cast<int>(c));
        }
        start = end + 1;
    }
    return cpus;
}

std::optional<std::string> osReleaseValue(std::string_view osRelease, std::string_view key) {
    for (auto line : splitLines(osRelease)) {
        line = trim(line);
        if (!line.starts_with(key) || line.size() <= key.size() || line[key.size()] != '=') continue;
        auto value = line.substr(key.size() + 1);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
            value = value.substr(1, value.size() - 2);
        return std::string(value);
    }
    return std::nullopt;
}

std::optional<std::string> cpuModelName(std::string_view cpuinfo) {
    std::optional<std::string> fallback;
    for (auto line : splitLines(cpuinfo)) {
        auto colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        auto key = trim(line.substr(0, colon));
        auto value = trim(line.substr(colon + 1));
        if (value.empty()) continue;
        if (key == "model name") return std::string(value);
        if (!fallback && (key == "Hardware" || key == "Model")) fallback = std::string(value);
    }
    return fallback;
}

}  // namespace qm
