// The main window's shared selection state: which section is showing, which group or
// process is selected, and whether the inspector and the command palette are open.
// Every section, the palette and "Show in Quillmere" read and change it here, so a
// selection made in one place is the selection everywhere. Main thread only.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "knowledge/Section.h"

namespace qm {

class UIState {
public:
    Section section() const { return section_; }
    // The selected group's key ("app:…" or "proc:…"), if any.
    const std::optional<std::string>& selectedGroup() const { return selectedGroup_; }
    // The selected process within the group, if one is selected rather than the group.
    std::optional<int> selectedPid() const { return selectedPid_; }
    bool inspectorVisible() const { return inspectorVisible_; }
    bool paletteVisible() const { return paletteVisible_; }

    void show(Section section);
    // Selects a group (and optionally one of its processes) without changing section.
    void selectGroup(std::string key, std::optional<int> pid = std::nullopt);
    // Shows the apps section with that group selected.
    void reveal(std::string key, std::optional<int> pid = std::nullopt);
    void clearSelection();
    void setInspectorVisible(bool visible);
    void setPaletteVisible(bool visible);

    // Called after any change. Returns a token for removeObserver.
    int observe(std::function<void()> observer);
    void removeObserver(int token);

private:
    void changed();

    Section section_ = Section::overview;
    std::optional<std::string> selectedGroup_;
    std::optional<int> selectedPid_;
    bool inspectorVisible_ = true;
    bool paletteVisible_ = false;
    std::vector<std::pair<int, std::function<void()>>> observers_;
    int nextToken_ = 1;
};

}  // namespace qm
