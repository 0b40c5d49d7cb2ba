// Small helpers shared by the fuzz programs: the fuzzer's bytes as text, and a way to
// cut them into several independent inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace qm::fuzz {

inline std::string_view asText(const uint8_t* data, size_t size) { return {reinterpret_cast<const char*>(data), size}; }

// Splits at every NUL byte, so one input can feed a parser several files (or a file
// and a key) without the fuzzer having to learn a length encoding.
inline std::vector<std::string_view> splitAtNul(std::string_view text) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (true) {
        size_t nul = text.find('\0', start);
        if (nul == std::string_view::npos) {
            parts.push_back(text.substr(start));
            return parts;
        }
        parts.push_back(text.substr(start, nul - start));
        start = nul + 1;
    }
}

}  // namespace qm::fuzz
