// Text made safe and narrow enough for a terminal's rows.
#pragma once

#include <cstdint>
#include <string>

namespace qm::cli {

// Printable text of at most `width` characters, padded to `width` with spaces: control
// characters become '?', a cut is marked with "…". Characters are counted as UTF-8
// code points.
std::string cell(const std::string& text, size_t width);

// `text` right-aligned in `width` characters.
std::string rightAligned(const std::string& text, size_t width);

// Characters (UTF-8 code points) in `text`.
size_t displayWidth(const std::string& text);

// The terminal's width when standard output is one; else $COLUMNS; else 0 (no limit).
size_t outputWidth();

}  // namespace qm::cli
