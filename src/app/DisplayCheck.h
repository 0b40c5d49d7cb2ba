// Whether a window can open at all. Qt aborts with several lines when it cannot reach
// the display; the app says why in one line instead, before Qt tries.
#pragma once

#include <optional>
#include <string>

namespace qm::app {

// Nothing when the display looks reachable, otherwise the reason.
std::optional<std::string> displayUnreachable();

}  // namespace qm::app
