#include "shell/Appearance.h"

#include <algorithm>
#include <cmath>

namespace qm {

std::string_view rawValue(Appearance appearance) {
    switch (appearance) {
        case Appearance::system: return "system";
        case Appearance::light: return "light";
        case Appearance::dark: return "dark";
    }
    return "system";
}

std::optional<Appearance> appearanceFromRaw(std::string_view raw) {
    for (Appearance a : {Appearance::system, Appearance::light, Appearance::dark})
        if (rawValue(a) == raw) return a;
    return std::nullopt;
}

std::string label(Appearance appearance) {
    switch (appearance) {
        case Appearance::system: return "Same as the desktop";
        case Appearance::light: return "Light";
        case Appearance::dark: return "Dark";
    }
    return "Same as the desktop";
}

Appearance appearance(const Defaults& defaults) {
    const auto stored = defaults.value(appearanceKey);
    if (!stored || !std::holds_alternative<std::string>(*stored)) return Appearance::system;
    return appearanceFromRaw(std::get<std::string>(*stored)).value_or(Appearance::system);
}

namespace {
double luminance(uint32_t rgb) {
    const auto channel = [](uint32_t value) {
        const double c = static_cast<double>(value & 0xFFU) / 255.0;
        return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(rgb >> 16) + 0.7152 * channel(rgb >> 8) + 0.0722 * channel(rgb);
}
}  // namespace

double contrastRatio(uint32_t foreground, uint32_t background) {
    const double a = luminance(foreground), b = luminance(background);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

}  // namespace qm
