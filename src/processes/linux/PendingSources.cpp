// Stand-in until the process reader exists: no processes.
#include "processes/Sources.h"

namespace qm {

namespace {
struct NoProcesses : ProcessListSource {
    ProcessReadResult read(bool) override { return {}; }
};
}  // namespace

std::unique_ptr<ProcessListSource> makeProcessListSource() { return std::make_unique<NoProcesses>(); }

}  // namespace qm
