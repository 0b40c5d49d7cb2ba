// The HTTP side of the exporter: serves /metrics from the latest published frame on a
// thread of its own, so a scrape never samples and never holds up the sampler (which
// only swaps a pointer under a lock). A slow or hostile client cannot hold it either:
// each connection has a time limit for the whole exchange, a request head larger than
// maxHeaderBytes is refused, connections over the limit are closed at once, and the
// page is rendered once per frame and format however often it is asked for.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "metrics/ListenAddress.h"
#include "metrics/MetricsFrame.h"
#include "metrics/WebConfig.h"

namespace qm::metrics {

struct ServerLimits {
    size_t maxConnections = 16;
    std::chrono::milliseconds exchangeTime{10'000};  // to read the request and write the answer
    size_t maxHeaderBytes = 8192;
};

class MetricsServer {
public:
    ~MetricsServer();
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

    // Listens and starts serving, or says in one line why it cannot (a port in use, an
    // address this machine does not have, a certificate that does not load).
    static std::variant<std::unique_ptr<MetricsServer>, std::string> start(const ListenAddress& address,
                                                                           const WebConfig& web,
                                                                           ServerLimits limits = {});

    // From any thread: the frame the next scrapes show.
    void publish(std::shared_ptr<const MetricsFrame> frame);

    uint16_t port() const;    // the port bound (useful after asking for port 0)
    std::string url() const;  // "http://127.0.0.1:19466/metrics"

    struct Impl;

private:
    explicit MetricsServer(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace qm::metrics
