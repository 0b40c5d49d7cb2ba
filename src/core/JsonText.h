// The one way JSON leaves the program: bytes that are not UTF-8 (a process named
// "x\xff", a path, a setting) become U+FFFD instead of stopping the program, which is
// what nlohmann's plain dump() does with them.
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace qm {

// `value` as JSON text: compact when `indent` is negative, else pretty-printed.
std::string jsonText(const nlohmann::json& value, int indent = -1);

// Single values appended to a document written without a tree (a stream of large
// snapshots), each byte for byte what jsonText writes for the same value.

// A string, quoted and escaped; bytes that are not UTF-8 become U+FFFD.
void appendJsonString(std::string& out, std::string_view text);

// A number with the shortest digits that read back to it ("5.0" for a whole one);
// NaN and the infinities, which JSON cannot hold, become null.
void appendJsonNumber(std::string& out, double value);

template <std::integral T>
requires(!std::same_as<T, bool>) void appendJsonNumber(std::string& out, T value) {
    std::array<char, 24> digits{};
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    out.append(digits.data(), static_cast<size_t>(end - digits.data()));
}

inline void appendJsonBool(std::string& out, bool value) { out += value ? "true" : "false"; }

}  // namespace qm
