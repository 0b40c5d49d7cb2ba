// The shared settings live apart from the interface so that code using only
// in-memory settings (tests) does not pull in the platform's settings file.
#include "core/Defaults.h"

namespace qm {

// The platform's persistent settings (a JSON file on Linux, user defaults on macOS).
std::shared_ptr<Defaults> makePlatformDefaults();

namespace {

std::mutex sharedLock;
std::shared_ptr<Defaults>& sharedSlot() {
    static std::shared_ptr<Defaults> slot;
    return slot;
}

}  // namespace

Defaults& Defaults::shared() {
    std::lock_guard guard(sharedLock);
    auto& slot = sharedSlot();
    if (!slot) slot = makePlatformDefaults();
    if (!slot) slot = std::make_shared<MemoryDefaults>();
    return *slot;
}

void Defaults::setShared(std::shared_ptr<Defaults> defaults) {
    std::lock_guard guard(sharedLock);
    sharedSlot() = std::move(defaults);
}

}  // namespace qm
