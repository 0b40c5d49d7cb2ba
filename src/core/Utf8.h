// Text that leaves the program (JSON, CSV, terminal lines) must be valid UTF-8, but
// process names, paths and settings are bytes that anyone can choose: `printf 'x\xff'`
// is a valid file name. These helpers make any bytes printable without failing.
#pragma once

#include <string>
#include <string_view>

namespace qm {

// True when `text` is well-formed UTF-8 (no overlong forms, no surrogates, nothing
// above U+10FFFF).
bool isValidUtf8(std::string_view text);

// `text` with every ill-formed sequence replaced by U+FFFD, one replacement per
// maximal ill-formed subpart (the substitution Unicode recommends); valid text comes
// back unchanged.
std::string validUtf8(std::string_view text);

}  // namespace qm
