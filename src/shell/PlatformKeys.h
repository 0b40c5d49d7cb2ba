// Shortcuts are written with the Mac's symbols ("⌥⌘Q", "⌘K"); on a PC keyboard the
// same keys are spelled out: "Ctrl+Alt+Q", "Ctrl+K".
#pragma once

#include <string>

namespace qm {

std::string linuxKeys(const std::string& text);

// A sentence as this platform shows it: its words (forThisPlatform) and its keys.
std::string shownText(const std::string& text);

}  // namespace qm
