#include "metrics/ExpositionWriter.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

#include "core/Utf8.h"

namespace qm::metrics {

namespace {

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

// The quality of one media range ("type/subtype;q=0.5;version=1"): 1 without a q.
double quality(std::string_view parameters) {
    while (!parameters.empty()) {
        size_t semicolon = parameters.find(';');
        std::string_view parameter = trim(parameters.substr(0, semicolon));
        parameters = semicolon == std::string_view::npos ? std::string_view{} : parameters.substr(semicolon + 1);
        if (parameter.size() > 2 && (parameter[0] == 'q' || parameter[0] == 'Q') && parameter[1] == '=') {
            std::string value(parameter.substr(2));
            char* end = nullptr;
            double q = std::strtod(value.c_str(), &end);
            if (end == value.c_str() || !std::isfinite(q)) return 0;
            return q;
        }
    }
    return 1;
}

// Label values and HELP texts are any bytes a process or sensor chose: made valid
// UTF-8, then escaped. `quote` is escaped too in label values (and in OpenMetrics HELP).
void appendEscaped(std::string& out, std::string_view text, bool quote) {
    const std::string valid = isValidUtf8(text) ? std::string(text) : validUtf8(text);
    for (char c : valid) {
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '"' && quote) {
            out += "\\\"";
        } else {
            out += c;
        }
    }
}

}  // namespace

std::string_view contentType(ExpositionFormat format) {
    return format == ExpositionFormat::openMetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                                   : "text/plain; version=0.0.4; charset=utf-8";
}

ExpositionFormat negotiateFormat(std::string_view accept) {
    double openMetrics = 0;
    double text = 0;
    while (!accept.empty()) {
        size_t comma = accept.find(',');
        std::string_view range = accept.substr(0, comma);
        accept = comma == std::string_view::npos ? std::string_view{} : accept.substr(comma + 1);
        size_t semicolon = range.find(';');
        std::string_view type = trim(range.substr(0, semicolon));
        double q = semicolon == std::string_view::npos ? 1 : quality(range.substr(semicolon + 1));
        if (equalsIgnoringCase(type, "application/openmetrics-text")) openMetrics = std::max(openMetrics, q);
        if (equalsIgnoringCase(type, "text/plain")) text = std::max(text, q);
    }
    return openMetrics > 0 && openMetrics >= text ? ExpositionFormat::openMetrics : ExpositionFormat::prometheusText;
}

std::string formatNumber(double value) {
    char buffer[32];
    auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
    if (error != std::errc()) return "NaN";
    return {buffer, end};
}

ExpositionWriter::ExpositionWriter(ExpositionFormat format) : format_(format) {}

void ExpositionWriter::family(std::string_view name, MetricType type, std::string_view unit, std::string_view help) {
    name_ = name;
    type_ = type;
    unit_ = unit;
    help_ = help;
    headerWritten_ = false;
}

void ExpositionWriter::writeHeader() {
    headerWritten_ = true;
    const bool om = format_ == ExpositionFormat::openMetrics;
    // The Prometheus text format names a family after its samples; OpenMetrics after
    // the family, with the type saying which suffix the samples carry.
    std::string declared = name_;
    if (!om && type_ == MetricType::counter) declared += "_total";
    if (!om && type_ == MetricType::info) declared += "_info";
    const char* type = type_ == MetricType::counter ? "counter" : type_ == MetricType::info && om ? "info" : "gauge";
    out_ += "# HELP " + declared + ' ';
    appendEscaped(out_, help_, om);
    out_ += "\n# TYPE " + declared + ' ' + type + '\n';
    if (om && !unit_.empty()) out_ += "# UNIT " + declared + ' ' + unit_ + '\n';
}

void ExpositionWriter::sample(std::initializer_list<Label> labels, double value, std::optional<int64_t> timestamp) {
    if (!std::isfinite(value)) return;
    if (!headerWritten_) writeHeader();
    out_ += name_;
    if (type_ == MetricType::counter) out_ += "_total";
    if (type_ == MetricType::info) out_ += "_info";
    if (labels.size() > 0) {
        out_ += '{';
        bool first = true;
        for (const Label& label : labels) {
            if (!first) out_ += ',';
            first = false;
            out_ += label.name;
            out_ += "=\"";
            appendEscaped(out_, label.value, true);
            out_ += '"';
        }
        out_ += '}';
    }
    out_ += ' ';
    out_ += formatNumber(value);
    if (timestamp) {
        // OpenMetrics time stamps are seconds; the Prometheus text format's are milliseconds.
        out_ += ' ';
        out_ +=
            format_ == ExpositionFormat::openMetrics ? std::to_string(*timestamp) : std::to_string(*timestamp * 1000);
    }
    out_ += '\n';
}

std::string ExpositionWriter::take() {
    std::string written;
    written.swap(out_);
    return written;
}

std::string ExpositionWriter::finish() {
    if (format_ == ExpositionFormat::openMetrics) out_ += "# EOF\n";
    return std::move(out_);
}

}  // namespace qm::metrics
