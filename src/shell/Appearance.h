// Light or dark: the window follows the desktop's colour scheme unless the user picks
// one (the setting "appearance": "system", "light" or "dark"). The contrast rule every
// text and chart colour is held to lives here too, so it is tested without a display.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/Defaults.h"

namespace qm {

enum class Appearance { system, light, dark };

inline constexpr const char* appearanceKey = "appearance";
std::string_view rawValue(Appearance appearance);  // "system", "light", "dark"
std::optional<Appearance> appearanceFromRaw(std::string_view raw);
std::string label(Appearance appearance);  // "Same as the desktop", "Light", "Dark"
// The stored choice; unset or unknown: the desktop's.
Appearance appearance(const Defaults& defaults);

// The contrast ratio of two sRGB colours (0xRRGGBB) as accessibility guidelines define
// it: from 1 (the same) to 21 (black on white). Text wants 4.5 at least.
double contrastRatio(uint32_t foreground, uint32_t background);

namespace appearanceText {
inline constexpr const char* title = "Appearance";
}

}  // namespace qm
