#include "processes/HelperClient.h"

namespace qm {

HelperClient::HelperClient(std::unique_ptr<HelperTransport> transport, const Clock& clock)
    : transport_(transport ? std::move(transport) : std::make_unique<NoHelperTransport>()), clock_(clock) {}

std::optional<std::vector<RawProcRecord>> HelperClient::sample(double timeout) {
    double now = clock_.monotonic();
    if (!enabledCache_ || now - enabledCache_->at > enabledCacheLifetime || now < enabledCache_->at)
        enabledCache_ = EnabledAnswer{transport_->isEnabled(), now};
    if (!enabledCache_->value) return std::nullopt;

    if (transport_->takeConnectionLost()) lastFailure_ = now;
    if (lastFailure_ && now - *lastFailure_ < failureBackOff && now >= *lastFailure_) return std::nullopt;

    auto data = transport_->request(timeout);
    if (!data) {
        invalidate();
        return std::nullopt;
    }
    return RawProcRecord::unpack(*data);
}

void HelperClient::invalidate() {
    transport_->invalidate();
    lastFailure_ = clock_.monotonic();
}

}  // namespace qm
