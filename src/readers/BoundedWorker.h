// Calls into a driver that may hang, made on a thread of their own. The caller waits
// for each only so long: a hung call never holds up the sampler, which gets nothing
// that time, and nothing new is started while the hung one is still running.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "core/Snapshot.h"

namespace qm {

class BoundedWorker {
public:
    using Job = std::function<std::vector<GPUDevice>()>;

    BoundedWorker();
    // Does not wait for a job that hangs: its thread is left to finish it alone.
    ~BoundedWorker();
    BoundedWorker(const BoundedWorker&) = delete;
    BoundedWorker& operator=(const BoundedWorker&) = delete;

    // The job's answer, or absent when it took longer than `limitSeconds` or the
    // previous job is still running.
    std::optional<std::vector<GPUDevice>> run(Job job, double limitSeconds);

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace qm
