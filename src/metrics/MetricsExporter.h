// The exporter as the recorder (or the app, when it records) runs it: settings, the
// frame builder and the server together. Off unless an address is given with
// `--metrics` or the setting "metrics.listen"; nothing listens otherwise.
//
// Settings: "metrics.listen" (absent: off), "metrics.apps" (how many apps get their own
// series, default 20; the rest are summed as app="other"), "metrics.webConfig" (a web
// configuration file for TLS and basic authentication).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Defaults.h"
#include "core/Snapshot.h"
#include "metrics/MetricsFrame.h"
#include "metrics/MetricsServer.h"

namespace qm::metrics {

class MetricsExporter {
public:
    MetricsExporter(std::string version, Defaults& defaults);
    ~MetricsExporter();

    // Starts serving at `address`, or at "metrics.listen" when `address` is empty, with
    // `webConfig` or "metrics.webConfig". Returns the one-line reason when it cannot (the
    // recorder goes on recording without it); none when it serves or is off.
    std::optional<std::string> start(const std::string& address = {}, const std::string& webConfig = {});
    // "http://127.0.0.1:19466/metrics" while serving.
    std::optional<std::string> url() const;

    // On the thread that receives snapshots and events (the main loop).
    void update(const Snapshot& snapshot);
    void count(const std::vector<TimelineEvent>& events);

private:
    Defaults& defaults_;
    FrameBuilder builder_;
    std::unique_ptr<MetricsServer> server_;
};

}  // namespace qm::metrics
