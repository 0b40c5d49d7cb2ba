// Runs a program and collects its standard output (standard error to /dev/null).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qm {

// The child's whole output, or absent when it cannot be started. The caller blocks
// until the child exits.
std::optional<std::string> runCommand(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace qm
