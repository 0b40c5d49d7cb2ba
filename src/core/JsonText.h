// The one way JSON leaves the program: bytes that are not UTF-8 (a process named
// "x\xff", a path, a setting) become U+FFFD instead of stopping the program, which is
// what nlohmann's plain dump() does with them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace qm {

// `value` as JSON text: compact when `indent` is negative, else pretty-printed.
std::string jsonText(const nlohmann::json& value, int indent = -1);

}  // namespace qm
