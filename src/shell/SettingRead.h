// Several launch and quit rules care whether a key holds a bool at all ("holds the
// bool false" differs from "unset"), which the typed reads of Defaults hide.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "core/Defaults.h"

namespace qm {

inline std::optional<bool> storedBool(const Defaults& defaults, const std::string& key) {
    auto value = defaults.value(key);
    if (!value) return std::nullopt;
    if (auto* b = std::get_if<bool>(&*value)) return *b;
    return std::nullopt;
}

}  // namespace qm
