// Text bound for a terminal: process names, window titles and file names are bytes
// anyone can choose, and a program named "x\033]0;title\007" would otherwise retitle
// the user's terminal, recolour it or move the cursor through our output.
#pragma once

#include <string>
#include <string_view>

namespace qm {

// `text` as valid UTF-8 with every control character (C0 but newline and tab, DEL and
// the C1 range, which holds CSI and OSC) replaced by '?': escape sequences lose the
// byte that starts them and print as plain characters.
std::string terminalSafe(std::string_view text);

}  // namespace qm
