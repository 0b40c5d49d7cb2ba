#include "core/JsonText.h"

namespace qm {

std::string jsonText(const nlohmann::json& value, int indent) {
    return value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace qm
