// A scripted process table for the reader's tests: the test sets processes, usage,
// paths and the clock; the fake counts the calls the reader makes.
#pragma once

#include <map>

#include "processes/AppGrouping.h"
#include "processes/ProcessSource.h"

namespace qm::test {

struct FakeProcess {
    BasicInfo info;
    std::optional<UsageRecord> usage;  // absent: the usage call fails
    std::string path;
    std::optional<std::string> argumentExecutable;
};

class FakeProcessSource : public ProcessSource {
public:
    static constexpr uint32_t me = 501;

    std::map<int32_t, FakeProcess> table;
    uint64_t clock = 1'000'000'000;  // nanoseconds (timebase 1)
    std::optional<std::string> psOutput;
    int psRuns = 0;
    std::map<int32_t, int> pathLookups, usageCalls;

    FakeProcess& add(int32_t pid, uint32_t uid, std::string path, uint64_t startTime = 1) {
        FakeProcess& p = table[pid];
        p.info = BasicInfo{pid, 1, uid, lastComponent(path), startTime};
        p.path = std::move(path);
        p.usage = UsageRecord{};
        return p;
    }
    void advance(double seconds) { clock += static_cast<uint64_t>(seconds * 1e9); }

    std::vector<BasicInfo> allProcesses() override {
        std::vector<BasicInfo> list;
        for (auto& [pid, p] : table) list.push_back(p.info);
        return list;
    }
    uint64_t absoluteTime() override { return clock; }
    double timebase() const override { return 1.0; }
    uint32_t ownUID() const override { return me; }
    std::optional<UsageRecord> usage(const BasicInfo& info) override {
        ++usageCalls[info.pid];
        return table.at(info.pid).usage;
    }
    std::string executablePath(const BasicInfo& info) override {
        ++pathLookups[info.pid];
        return table.at(info.pid).path;
    }
    std::optional<std::string> argumentExecutable(const BasicInfo& info) override {
        return table.at(info.pid).argumentExecutable;
    }
    std::optional<std::string> runPS() override {
        ++psRuns;
        return psOutput;
    }
    bool measuresEnergy() const override { return energyMeasured; }
    bool energyMeasured = true;
    std::vector<DrmClientTracker::Owned> gpu;  // the GPU clients every read finds
    std::vector<DrmClientTracker::Owned> gpuClients(const std::vector<BasicInfo>&) override { return gpu; }

private:
    static std::string lastComponent(const std::string& path) {
        auto slash = path.rfind('/');
        return (slash == std::string::npos ? path : path.substr(slash + 1)).substr(0, 16);
    }
};

// Groups every process under its own name.
class ByNameResolver : public KeyResolver {
public:
    GroupKey computeKey(const ProcessSample& s, const SamplesByPID&, uint64_t) override {
        GroupKey key;
        key.key = "proc:" + s.name;
        key.name = s.name;
        return key;
    }
};

}  // namespace qm::test
