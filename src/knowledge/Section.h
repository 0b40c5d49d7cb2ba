// The main window's sidebar sections, in sidebar order. The window's selection state
// and the command palette both speak in these.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace qm {

enum class Section { overview, apps, memory, energy, sensors, network, timeline };

constexpr std::array<Section, 7> allSections{Section::overview, Section::apps,    Section::memory,  Section::energy,
                                             Section::sensors,  Section::network, Section::timeline};

// "overview", "apps", ... as stored and compared.
std::string_view rawValue(Section section);
std::optional<Section> sectionFromRaw(std::string_view raw);
// The sidebar title: "Overview", "Apps & Processes", "Memory", ...
std::string title(Section section);

}  // namespace qm
