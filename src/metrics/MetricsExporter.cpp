#include "metrics/MetricsExporter.h"

#include <cmath>

#include "core/DefaultsRanges.h"
#include "core/Log.h"
#include "metrics/ListenAddress.h"
#include "metrics/WebConfig.h"

namespace qm::metrics {

MetricsExporter::MetricsExporter(std::string version, Defaults& defaults)
    : defaults_(defaults), builder_(std::move(version)) {}

MetricsExporter::~MetricsExporter() = default;

std::optional<std::string> MetricsExporter::start(const std::string& address, const std::string& webConfig) {
    const std::string listen = address.empty() ? defaults_.stringValue("metrics.listen") : address;
    if (listen.empty()) return std::nullopt;  // off
    auto parsed = parseListenAddress(listen);
    if (auto* error = std::get_if<std::string>(&parsed)) return "metrics.listen: " + *error;
    const ListenAddress& where = std::get<ListenAddress>(parsed);

    WebConfig web;
    const std::string configPath = webConfig.empty() ? defaults_.stringValue("metrics.webConfig") : webConfig;
    if (!configPath.empty()) {
        auto loaded = loadWebConfig(configPath);
        if (auto* error = std::get_if<std::string>(&loaded)) return *error;
        web = std::get<WebConfig>(loaded);
    }
    auto started = MetricsServer::start(where, web);
    if (auto* error = std::get_if<std::string>(&started)) return *error;
    server_ = std::move(std::get<std::unique_ptr<MetricsServer>>(started));
    server_->publish(builder_.current());
    if (!where.loopback)
        logLine("metrics are served on " + where.textWithPort(server_->port()) +
                ", where other machines can reach them" + (web.users.empty() ? " without a password" : ""));
    return std::nullopt;
}

std::optional<std::string> MetricsExporter::url() const {
    if (!server_) return std::nullopt;
    return server_->url();
}

void MetricsExporter::update(const Snapshot& snapshot) {
    // Read every tick, so a change takes effect without a restart.
    auto limit = defaults_.value("metrics.apps");
    const double apps =
        limit ? clampToRange("metrics.apps", defaults_.doubleValue("metrics.apps")) : FrameBuilder::defaultAppLimit;
    builder_.setAppLimit(static_cast<size_t>(std::lround(apps)));
    auto frame = builder_.add(snapshot);
    if (server_) server_->publish(std::move(frame));
}

void MetricsExporter::count(const std::vector<TimelineEvent>& events) {
    auto frame = builder_.count(events);
    if (server_) server_->publish(std::move(frame));
}

}  // namespace qm::metrics
