// Who made each executable, evaluated once per path off the main thread and kept for
// the program's lifetime (an executable replaced on disk keeps its first answer).
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "core/Queue.h"
#include "core/Snapshot.h"
#include "processes/SignatureInfo.h"

namespace qm {

// The executable that speaks for a group: its first process with a known path, or ""
// (which classifies as unknown without touching anything).
std::string groupExecutable(const AppGroup& group);

// This machine's classification of one executable: the code signature on macOS, the
// package provenance on Linux. May be slow; never call it on the main thread.
SignatureInfo evaluateSignature(const std::string& path);

class SignatureCache {
public:
    using Evaluator = std::function<SignatureInfo(const std::string& path)>;
    using Completion = std::function<void(const SignatureInfo&)>;

    // Evaluations run on `queue`; completions go to `main` (set with deliverOn()).
    SignatureCache(Evaluator evaluate, std::unique_ptr<SerialQueue> queue);
    ~SignatureCache();

    // The program's one cache, evaluating on the queue "app.quillmere.signature".
    static SignatureCache& shared();

    // Where completions are delivered: the program's main queue. Until one is set they
    // run on the evaluation queue.
    void deliverOn(SerialQueue* main);

    // The stored answer, if any; never evaluates.
    std::optional<SignatureInfo> cached(const std::string& path) const;
    // The stored answer at once, or an evaluation on the queue that stores its answer;
    // either way `completion` runs on the main queue.
    void lookup(const std::string& path, Completion completion);
    // The stored answer, or an evaluation on the queue that the caller waits for: for
    // the command line, which has no main loop while it prints.
    SignatureInfo lookupAndWait(const std::string& path);
    // The classification itself, not cached.
    SignatureInfo evaluate(const std::string& path) const { return evaluate_(path); }

private:
    SignatureInfo evaluateAndStore(const std::string& path);
    void deliver(Completion completion, const SignatureInfo& info);

    Evaluator evaluate_;
    mutable std::mutex lock_;  // guards cache_ and main_
    std::unordered_map<std::string, SignatureInfo> cache_;
    SerialQueue* main_ = nullptr;
    std::unique_ptr<SerialQueue> queue_;  // last: its thread stops before the rest goes
};

}  // namespace qm
