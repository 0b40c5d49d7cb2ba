// Text for terminal cells. Names are bytes anyone can choose: ill-formed UTF-8,
// control characters (C0 and C1), bidirectional overrides and zero-width marks would
// move the cursor, reorder the line or take no cell at all. Each becomes one "?" or
// U+FFFD, so a row takes exactly the cells it counts; wide characters count two.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qm::cli::live {

// Cells `text` takes once made safe.
size_t cellWidth(std::string_view text);

// `text` made safe, cut with "…" to at most `width` cells and padded to exactly `width`.
std::string fit(std::string_view text, size_t width);

// `text` made safe and right-aligned in `width` cells (cut when longer).
std::string fitRight(std::string_view text, size_t width);

// Words of `text` in lines of at most `width` cells (a word longer than a line is cut).
std::vector<std::string> wrap(std::string_view text, size_t width);

}  // namespace qm::cli::live
