#include "knowledge/Section.h"

namespace qm {

std::string_view rawValue(Section section) {
    switch (section) {
        case Section::overview: return "overview";
        case Section::apps: return "apps";
        case Section::memory: return "memory";
        case Section::energy: return "energy";
        case Section::sensors: return "sensors";
        case Section::network: return "network";
        case Section::timeline: return "timeline";
    }
    return "overview";
}

std::optional<Section> sectionFromRaw(std::string_view raw) {
    for (Section section : allSections)
        if (rawValue(section) == raw) return section;
    return std::nullopt;
}

std::string title(Section section) {
    switch (section) {
        case Section::overview: return "Overview";
        case Section::apps: return "Apps & Processes";
        case Section::memory: return "Memory";
        case Section::energy: return "Energy";
        case Section::sensors: return "Sensors";
        case Section::network: return "Network";
        case Section::timeline: return "Timeline";
    }
    return "";
}

}  // namespace qm
