// Writes metric families in the two text formats Prometheus scrapes: its own text
// format (version 0.0.4) and OpenMetrics 1.0. The formats differ in small ways that
// all live here: where a counter's "_total" goes, how an info metric is declared, the
// UNIT line, HELP escaping and the closing "# EOF".
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace qm::metrics {

enum class ExpositionFormat { prometheusText, openMetrics };

// The Content-Type header that goes with each format.
std::string_view contentType(ExpositionFormat format);

// Which format a scraper asked for in its Accept header: OpenMetrics when it lists
// application/openmetrics-text at a quality above zero and no lower than text/plain;
// the Prometheus text format otherwise (also for a missing or unreadable header).
ExpositionFormat negotiateFormat(std::string_view accept);

enum class MetricType { gauge, counter, info };

struct Label {
    std::string_view name;
    std::string_view value;
};

class ExpositionWriter {
public:
    explicit ExpositionWriter(ExpositionFormat format);

    // Starts a family. `name` is the family's name: without "_total" for a counter and
    // without "_info" for an info metric (the writer adds them to the samples). `unit`
    // (may be empty) must be the name's last part, as OpenMetrics requires. Nothing is
    // written until the family's first sample, so a family without samples leaves no
    // trace: an absent figure is an absent series.
    void family(std::string_view name, MetricType type, std::string_view unit, std::string_view help);

    // One sample of the current family. Non-finite values are skipped (never measured).
    // `timestamp` is in whole seconds since 1970 (history only; live samples carry none).
    void sample(std::initializer_list<Label> labels, double value, std::optional<int64_t> timestamp = std::nullopt);
    void sample(double value) { sample({}, value); }

    // The text written so far, closed as the format wants.
    std::string finish();

    // Hands over what has been written so far and goes on from there: a long history
    // is printed in pieces instead of held whole.
    std::string take();
    size_t pendingBytes() const { return out_.size(); }

private:
    void writeHeader();

    ExpositionFormat format_;
    std::string out_;
    std::string name_;  // the current family
    MetricType type_ = MetricType::gauge;
    std::string unit_;
    std::string help_;
    bool headerWritten_ = true;
};

// A number as both formats read it: the shortest text that reads back to the same double.
std::string formatNumber(double value);

}  // namespace qm::metrics
