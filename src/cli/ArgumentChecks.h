// Validators whose refusals read plainly: "a whole number from 1 to 1000000", not
// CLI11's "Value 0 not in range 0.000000 to 1797693...".
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qm::cli {

// A whole number from `low` to `high`.
CLI::Validator wholeNumber(long long low, long long high);

// A number of seconds from `low` to `high` (fractions allowed).
CLI::Validator seconds(double low, double high);

// One of the listed words, named in the refusal.
CLI::Validator oneOf(std::vector<std::string> words);

}  // namespace qm::cli
