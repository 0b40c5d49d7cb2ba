// What checking a process again before its signal costs: a quit of a large group
// opens, reads and checks every target, so this is the price per process the user
// waits for (the signal here is 0, which checks without sending).
//
//   actions_bench --benchmark_counters_tabular=true
#include <benchmark/benchmark.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "processes/ProcessActions.h"
#include "processes/Sources.h"

namespace {

void CheckBeforeSignal(benchmark::State& state) {
    // Sleeping children of our own, as the process list shows them.
    std::vector<pid_t> children;
    for (int64_t i = 0; i < state.range(0); ++i) {
        pid_t pid = ::fork();
        if (pid == 0) {
            ::pause();
            ::_exit(0);
        }
        children.push_back(pid);
    }
    std::vector<qm::ProcessRef> targets;
    for (const qm::AppGroup& g : qm::makeProcessListSource()->read(false).groups)
        for (const qm::ProcessSample& p : g.processes)
            for (pid_t child : children)
                if (p.pid == child) targets.push_back(qm::refOf(p));
    const qm::ProcessActions actions = qm::ProcessActions::system();
    int reached = 0;
    for (auto _ : state) reached = actions.signal(targets, 0).signalled;
    for (pid_t child : children) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    if (reached != static_cast<int>(children.size())) state.SkipWithError("not every child was reached");
    state.counters["per process"] =
        benchmark::Counter(static_cast<double>(targets.size()),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(CheckBeforeSignal)->Arg(10)->Arg(200)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
