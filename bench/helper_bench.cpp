// What the privileged helper costs at about 100, 2,000 and 5,000 processes: the
// helper's reply time as the client sees it, and one reader tick that asks it (wall
// time including the wait, and the client's own CPU time).
//
//   helper_bench --benchmark_counters_tabular=true
//   QUILLMERE_HELPER_SOCKET=/tmp/h.sock QUILLMERE_HELPER_PID=<pid>
//       setpriv --reuid=nobody --regid=nogroup --clear-groups helper_bench ...
//   (with a helper started as root by hand, and the benchmark as an ordinary user)
// Idle children (they only wait) are started to reach each size and killed after it.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "core/FileRead.h"
#include "core/HelperProtocol.h"
#include "processes/ProcessReader.h"
#include "processes/linux/LinuxProcessSource.h"
#include "processes/linux/ProcStat.h"
#include "processes/linux/SocketHelperTransport.h"

namespace {

double processCPUSeconds() {
    timespec ts{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

size_t processCount() {
    size_t count = 0;
    for (const auto& name : qm::listDirectory("/proc"))
        if (qm::parseUInt(name)) ++count;
    return count;
}

// Idle children up to `total` processes on the machine, killed when this goes.
class IdleChildren {
public:
    explicit IdleChildren(size_t total) {
        for (size_t have = processCount(); have < total; ++have) {
            pid_t child = ::fork();
            if (child == 0) {
                ::pause();
                ::_exit(0);
            }
            if (child < 0) break;
            children_.push_back(child);
        }
    }
    ~IdleChildren() {
        for (pid_t child : children_) ::kill(child, SIGKILL);
        for (pid_t child : children_) ::waitpid(child, nullptr, 0);
    }

private:
    std::vector<pid_t> children_;
};

// The helper binary on a temporary socket for the benchmark's lifetime, or, with
// $QUILLMERE_HELPER_SOCKET set, a helper already running there (as root, while the
// benchmark runs as an ordinary user, as the app does).
class Helper {
public:
    Helper() : path_((std::filesystem::temp_directory_path() / "qm-bench-helper.sock").string()) {
        if (const char* running = std::getenv("QUILLMERE_HELPER_SOCKET"); running && *running) {
            path_ = running;
            return;
        }
        std::filesystem::remove(path_);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::execl(QM_HELPER_BINARY, QM_HELPER_BINARY, "--socket", path_.c_str(), "--idle-exit", "600",
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        struct stat st {};
        for (int i = 0; i < 500 && ::stat(path_.c_str(), &st) != 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ~Helper() {
        if (pid_ < 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        std::filesystem::remove(path_);
    }
    const std::string& path() const { return path_; }
    // The helper's own CPU time so far (user plus system), in milliseconds.
    double cpuMs() const {
        const char* given = std::getenv("QUILLMERE_HELPER_PID");  // for a helper started outside
        auto text = qm::readFile("/proc/" + (given ? std::string(given) : std::to_string(pid_)) + "/stat");
        auto stat = text ? qm::parseProcStat(*text) : std::nullopt;
        if (!stat) return 0;
        return static_cast<double>(stat->utime + stat->stime) * 1000.0 / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }

private:
    std::string path_;
    pid_t pid_ = -1;
};

struct ByName : qm::KeyResolver {
    qm::GroupKey computeKey(const qm::ProcessSample& s, const qm::SamplesByPID&, uint64_t startTime) override {
        return qm::GroupKey{"proc:" + s.name, s.name, qm::ProcessKind::background, std::nullopt, std::nullopt,
                            startTime,        s.name};
    }
};

Helper& helper() {
    static Helper running;
    return running;
}

void HelperReply(benchmark::State& state) {
    IdleChildren children(static_cast<size_t>(state.range(0)));
    double records = 0;
    double helperCPU = helper().cpuMs();
    for (auto _ : state) {
        // A generous wait: on a busy machine the figure should show by how much a reply
        // misses the sampler's 0.6 s, not just that it did.
        auto answer = qm::helper::exchange(helper().path(), qm::helper::Request::processes, 5.0);
        if (answer.outcome != qm::helper::Exchange::Outcome::answered) {
            state.SkipWithError("the helper did not answer within 5 s");
            break;
        }
        records += static_cast<double>(answer.payload.size()) / static_cast<double>(qm::RawProcRecord::size);
    }
    double replies = static_cast<double>(std::max<int64_t>(state.iterations(), 1));
    state.counters["processes"] = records / replies;
    state.counters["helper_cpu_ms_per_reply"] = (helper().cpuMs() - helperCPU) / replies;
}
BENCHMARK(HelperReply)->Arg(100)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();

void ReaderTickWithHelper(benchmark::State& state) {
    IdleChildren children(static_cast<size_t>(state.range(0)));
    qm::ProcessReader reader(std::make_unique<qm::LinuxProcessSource>(""), std::make_unique<ByName>(),
                             std::make_unique<qm::SocketHelperTransport>(helper().path()));
    reader.read(true);  // identities are read once per process lifetime, not per tick
    double cpu = 0, processes = 0;
    for (auto _ : state) {
        double before = processCPUSeconds();
        auto result = reader.read(true);
        cpu += processCPUSeconds() - before;
        processes += static_cast<double>(result.processCount);
        if (!result.helperActive) {
            state.SkipWithError("the tick fell back without the helper");
            break;
        }
    }
    double ticks = static_cast<double>(std::max<int64_t>(state.iterations(), 1));
    state.counters["processes"] = processes / ticks;
    state.counters["client_cpu_ms_per_tick"] = cpu * 1e3 / ticks;
    state.counters["client_cpu_us_per_process"] = processes > 0 ? cpu * 1e6 / processes : 0;
}
BENCHMARK(ReaderTickWithHelper)->Arg(100)->Arg(2000)->Arg(5000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
