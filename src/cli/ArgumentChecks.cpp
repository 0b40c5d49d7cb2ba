#include "cli/ArgumentChecks.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "core/FileRead.h"

namespace qm::cli {

namespace {

std::string plainNumber(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%g", value);
    return buffer;
}

}  // namespace

CLI::Validator wholeNumber(long long low, long long high) {
    const std::string range = "a whole number from " + std::to_string(low) + " to " + std::to_string(high);
    return CLI::Validator(
        [low, high, range](std::string& input) -> std::string {
            char* end = nullptr;
            errno = 0;
            const long long value = std::strtoll(input.c_str(), &end, 10);
            if (input.empty() || *end != '\0' || errno != 0 || value < low || value > high)
                return "takes " + range + ", not \"" + input + "\"";
            return {};
        },
        "NUMBER");
}

CLI::Validator seconds(double low, double high) {
    const std::string range = "a number of seconds from " + plainNumber(low) + " to " + plainNumber(high);
    return CLI::Validator(
        [low, high, range](std::string& input) -> std::string {
            auto value = parseDouble(input);  // finite numbers only
            if (!value || *value < low || *value > high) return "takes " + range + ", not \"" + input + "\"";
            return {};
        },
        "SECONDS");
}

CLI::Validator oneOf(std::vector<std::string> words) {
    std::string list;
    for (size_t i = 0; i < words.size(); ++i) list += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return CLI::Validator(
        [words, list](std::string& input) -> std::string {
            for (const auto& word : words)
                if (input == word) return {};
            return "takes " + list + ", not \"" + input + "\"";
        },
        "WORD");
}

}  // namespace qm::cli
