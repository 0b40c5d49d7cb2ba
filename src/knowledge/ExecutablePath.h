// The folder of the running executable, where the process library is shipped.
#pragma once

#include <optional>
#include <string>

namespace qm {

// Absolute folder of this program's executable, or absent when it cannot be found.
std::optional<std::string> executableDirectory();

}  // namespace qm
