#include "processes/ProcessReader.h"

#include <algorithm>
#include <cmath>

#include "processes/PSOutput.h"
#include "processes/ProcessNames.h"

namespace qm {

ProcessReader::ProcessReader(std::unique_ptr<ProcessSource> source, std::unique_ptr<KeyResolver> resolver,
                             std::unique_ptr<HelperTransport> helper, const Clock& clock)
    : source_(std::move(source)),
      clock_(clock),
      grouper_(std::move(resolver)),
      helper_(std::move(helper), clock),
      timebase_(source_->timebase()),
      ownUID_(source_->ownUID()) {}

Identity ProcessReader::identity(const BasicInfo& info) {
    if (auto known = identities_.find(info.pid);
        known != identities_.end() && known->second.startTime == info.startTime && known->second.comm == info.comm)
        return known->second;
    Identity id;
    id.startTime = info.startTime;
    id.comm = info.comm;
    if (info.pid == 0) {
        id.name = "kernel_task";
        return id;
    }
    id.path = source_->executablePath(info);
    id.name = id.path.empty() ? info.comm : lastPathComponent(id.path);
    if (looksLikeVersion(id.name)) {
        if (auto better = friendlyName(source_->argumentExecutable(info), id.path)) id.name = *better;
    }
    if (id.name.empty()) id.name = "Process " + std::to_string(info.pid);
    return id;
}

void ProcessReader::refreshPSIfNeeded() {
    double now = clock_.monotonic();
    if (psCacheDate_ && now - *psCacheDate_ < psCacheLifetime && now >= *psCacheDate_) return;
    auto output = source_->runPS();
    if (!output) return;  // ps could not run: the old figures stay until the next attempt
    std::unordered_map<int32_t, PSBase> bases;
    std::unordered_map<int32_t, PSFigures> figures;
    for (const auto& line : parsePSOutput(*output, ownUID_)) {
        double cpu = 0;
        if (auto old = psPrevious_.find(line.pid); old != psPrevious_.end()) {
            double seconds = now - old->second.date;
            if (old->second.cpuSeconds <= line.cpuSeconds && seconds > 0)
                cpu = (line.cpuSeconds - old->second.cpuSeconds) / seconds * 100;
        }
        bases[line.pid] = PSBase{line.cpuSeconds, now};
        figures[line.pid] = PSFigures{cpu, line.rss};
    }
    psPrevious_ = std::move(bases);
    psCache_ = std::move(figures);
    psCacheDate_ = now;
}

ProcessSample ProcessReader::restrictedSample(const BasicInfo& info, const Identity& id, bool psTick) {
    auto cached = psCache_.find(info.pid);
    if (!psTick && cached == psCache_.end()) {
        // Ticks without includeRestricted carry the figures of the last tick that had it.
        if (auto last = lastRestricted_.find(info.pid); last != lastRestricted_.end() && last->second.name == id.name) {
            ProcessSample s = last->second;
            s.startTime = info.startTime;
            return s;
        }
    }
    ProcessSample s;
    s.pid = info.pid;
    s.ppid = info.ppid;
    s.uid = info.uid;
    s.name = id.name;
    s.path = id.path;
    s.startTime = info.startTime;
    if (cached != psCache_.end()) {
        s.cpu = cached->second.cpu;
        s.memory = cached->second.rss;
    }
    s.approximate = true;
    s.isRestricted = true;
    return s;
}

ProcessReader::Result ProcessReader::readDetailed(bool includeRestricted) {
    uint64_t now = source_->absoluteTime();
    std::vector<BasicInfo> infos = source_->allProcesses();

    std::optional<std::unordered_map<int32_t, RawProcRecord>> batch;
    bool psTick = false;
    if (includeRestricted) {
        if (auto records = helper_.sample(helperTimeout)) {
            batch.emplace();
            for (const auto& r : *records) (*batch)[r.pid] = r;
        } else {
            psTick = true;
        }
    }
    // `ps` runs only once a process actually needs it: on machines where every
    // process can be read (Linux without hidepid) it never runs at all.
    bool psRefreshed = false;

    std::unordered_set<int32_t> newUnreadable;
    for (int32_t pid : unreadable_)
        if (identities_.contains(pid)) newUnreadable.insert(pid);

    std::unordered_map<int32_t, Identity> newIdentities;
    std::unordered_map<int32_t, Counters> newCounters;
    newIdentities.reserve(infos.size());
    newCounters.reserve(infos.size());
    Result result;
    result.processes.reserve(infos.size());

    for (const auto& info : infos) {
        Identity id = identity(info);
        newIdentities[info.pid] = id;
        bool otherUser = info.uid != ownUID_;

        // The source's own reading comes first; the helper's record fills in what the
        // source could not read: the whole usage (another user's process on macOS) or
        // only the disk counters (on Linux, where everything else is readable and the
        // helper has no wake-ups to give, so its zeros never replace counted ones).
        std::optional<UsageRecord> usage;
        if (!(otherUser && newUnreadable.contains(info.pid))) {
            usage = source_->usage(info);
            if (!usage && otherUser) newUnreadable.insert(info.pid);
        }
        if (batch && (!usage || !usage->diskCounted)) {
            if (auto record = batch->find(info.pid); record != batch->end()) {
                const RawProcRecord& r = record->second;
                if (!usage) {
                    usage = UsageRecord{
                        r.userTime + r.systemTime, r.footprint, r.energy, r.diskRead, r.diskWrite, r.wakeups};
                } else {
                    usage->diskRead = r.diskRead;
                    usage->diskWrite = r.diskWrite;
                    usage->diskCounted = true;
                }
            }
        }
        if (!usage) {
            if (psTick && !psRefreshed) {
                refreshPSIfNeeded();
                psRefreshed = true;
            }
            result.processes.push_back(restrictedSample(info, id, psTick));
            continue;
        }

        ProcessSample s;
        s.pid = info.pid;
        s.ppid = info.ppid;
        s.uid = info.uid;
        s.name = id.name;
        s.path = id.path;
        s.startTime = info.startTime;
        s.memory = usage->memory;
        s.isRestricted = otherUser;

        auto old = previous_.find(info.pid);
        auto oldIdentity = identities_.find(info.pid);
        bool hasBase = old != previous_.end() && now > old->second.date && usage->cpuTime >= old->second.cpuTime &&
                       oldIdentity != identities_.end() && oldIdentity->second.startTime == info.startTime;
        // Disk counters read on some ticks only (by the helper) carry over the ticks in
        // between, so the next reading measures from the last real one: the rates of the
        // ticks in between are 0 and the next one holds their bytes.
        bool diskKnown = usage->diskCounted;
        if (!diskKnown && hasBase && old->second.diskKnown) {
            usage->diskRead = old->second.diskRead;
            usage->diskWrite = old->second.diskWrite;
            diskKnown = true;
        }
        // Disk figures nobody could read are unknown, not zero: the row says it is an estimate.
        if (!diskKnown) s.approximate = true;
        if (hasBase) {
            const Counters& base = old->second;
            double span = timebase_ * static_cast<double>(now - base.date);  // nanoseconds
            double elapsed = span / 1e9;
            s.cpu = std::max(0.0, timebase_ * static_cast<double>(usage->cpuTime - base.cpuTime) / span * 100);
            if (usage->energy != 0 && usage->energy >= base.energy)
                s.power = static_cast<double>(usage->energy - base.energy) / 1e9 / elapsed;
            auto rate = [elapsed](uint64_t now, uint64_t before) {
                return now >= before ? static_cast<double>(now - before) / elapsed : 0.0;
            };
            if (usage->diskCounted && base.diskKnown) {
                s.diskReadRate = rate(usage->diskRead, base.diskRead);
                s.diskWriteRate = rate(usage->diskWrite, base.diskWrite);
            }
            s.wakeups = rate(usage->wakeups, base.wakeups);
        }
        newCounters[info.pid] =
            Counters{usage->cpuTime, usage->energy, usage->diskRead, usage->diskWrite, usage->wakeups, now, diskKnown};
        result.processes.push_back(std::move(s));
    }

    if (includeRestricted) {
        lastRestricted_.clear();
        for (const auto& s : result.processes)
            if (s.isRestricted) lastRestricted_[s.pid] = s;
    }
    previous_ = std::move(newCounters);
    std::erase_if(newUnreadable, [&](int32_t pid) { return !newIdentities.contains(pid); });
    unreadable_ = std::move(newUnreadable);
    identities_ = std::move(newIdentities);

    if (!source_->measuresEnergy()) shareMachinePower(result.processes, machinePower_);
    addGPU(infos, now, result.processes);
    result.groups = grouper_.group(result.processes, [this](int32_t pid) {
        auto id = identities_.find(pid);
        return id == identities_.end() ? uint64_t{0} : id->second.startTime;
    });
    result.helperActive = batch.has_value();
    result.restrictedVisible = batch.has_value() || psTick || !psCache_.empty();
    return result;
}

// Each process's share of the GPU over the interval since the previous read, from its
// GPU clients' engine time, and the GPU memory they hold. Processes without a client,
// and clients seen for the first time, have no figure.
void ProcessReader::addGPU(const std::vector<BasicInfo>& infos, uint64_t now, std::vector<ProcessSample>& samples) {
    auto clients = source_->gpuClients(infos);
    auto reading = gpuClients_.update(clients, static_cast<uint64_t>(timebase_ * static_cast<double>(now)));
    if (reading.processes.empty()) return;
    for (auto& s : samples) {
        auto usage = reading.processes.find(s.pid);
        if (usage == reading.processes.end()) continue;
        s.gpu = usage->second.busy;
        s.gpuMemory = usage->second.memory;
    }
}

void shareMachinePower(std::vector<ProcessSample>& samples, std::optional<double> machineWatts) {
    if (!machineWatts || !std::isfinite(*machineWatts) || *machineWatts < 0) return;
    double busy = 0;
    for (const auto& s : samples) busy += std::max(0.0, s.cpu);
    for (auto& s : samples) {
        s.power = busy > 0 ? *machineWatts * std::max(0.0, s.cpu) / busy : 0.0;
        s.approximate = true;
    }
}

ProcessReadResult ProcessReader::read(bool includeRestricted) {
    Result detailed = readDetailed(includeRestricted);
    ProcessReadResult out;
    out.processCount = static_cast<int64_t>(detailed.processes.size());
    out.groups = std::move(detailed.groups);
    out.restrictedVisible = detailed.restrictedVisible;
    out.helperActive = detailed.helperActive;
    return out;
}

}  // namespace qm
