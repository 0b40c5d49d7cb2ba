// Writing the commands' human-readable output.
#pragma once

#include <string>

namespace qm::cli {

// Writes text to standard output as is, with the machine named for this platform
// ("your computer" on Linux where the sentence says "your Mac").
void print(const std::string& text);

}  // namespace qm::cli
