// A Mac always has its window server.
#include "app/DisplayCheck.h"

namespace qm::app {

std::optional<std::string> displayUnreachable() { return std::nullopt; }

}  // namespace qm::app
