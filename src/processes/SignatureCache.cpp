#include "processes/SignatureCache.h"

namespace qm {

std::string groupExecutable(const AppGroup& group) {
    for (const auto& process : group.processes)
        if (!process.path.empty()) return process.path;
    return {};
}

SignatureCache::SignatureCache(Evaluator evaluate, std::unique_ptr<SerialQueue> queue)
    : evaluate_(std::move(evaluate)), queue_(std::move(queue)) {}

// Pending evaluations may still hold `this`: stop the queue's thread before the members go.
SignatureCache::~SignatureCache() { queue_.reset(); }

SignatureCache& SignatureCache::shared() {
    static SignatureCache cache(evaluateSignature, makeThreadQueue("app.quillmere.signature"));
    return cache;
}

void SignatureCache::deliverOn(SerialQueue* main) {
    std::lock_guard<std::mutex> guard(lock_);
    main_ = main;
}

std::optional<SignatureInfo> SignatureCache::cached(const std::string& path) const {
    std::lock_guard<std::mutex> guard(lock_);
    auto found = cache_.find(path);
    if (found == cache_.end()) return std::nullopt;
    return found->second;
}

SignatureInfo SignatureCache::evaluateAndStore(const std::string& path) {
    SignatureInfo info = evaluate_(path);
    // Two lookups of one path may both evaluate; the later store wins with the same answer.
    std::lock_guard<std::mutex> guard(lock_);
    cache_[path] = info;
    return info;
}

void SignatureCache::deliver(Completion completion, const SignatureInfo& info) {
    SerialQueue* main = nullptr;
    {
        std::lock_guard<std::mutex> guard(lock_);
        main = main_;
    }
    if (main)
        main->post([completion = std::move(completion), info] { completion(info); });
    else
        completion(info);
}

void SignatureCache::lookup(const std::string& path, Completion completion) {
    if (auto known = cached(path)) {
        deliver(std::move(completion), *known);
        return;
    }
    queue_->post([this, path, completion = std::move(completion)]() mutable {
        deliver(std::move(completion), evaluateAndStore(path));
    });
}

SignatureInfo SignatureCache::lookupAndWait(const std::string& path) {
    if (auto known = cached(path)) return *known;
    SignatureInfo info;
    queue_->sync([&] { info = evaluateAndStore(path); });
    return info;
}

}  // namespace qm
