#include "shell/UIState.h"

#include <algorithm>

namespace qm {

void UIState::show(Section section) {
    if (section_ == section) return;
    section_ = section;
    changed();
}

void UIState::selectGroup(std::string key, std::optional<int> pid) {
    if (selectedGroup_ == key && selectedPid_ == pid) return;
    selectedGroup_ = std::move(key);
    selectedPid_ = pid;
    changed();
}

void UIState::reveal(std::string key, std::optional<int> pid) {
    const bool sameSelection = selectedGroup_ == key && selectedPid_ == pid;
    if (sameSelection && section_ == Section::apps) return;
    section_ = Section::apps;
    selectedGroup_ = std::move(key);
    selectedPid_ = pid;
    changed();
}

void UIState::clearSelection() {
    if (!selectedGroup_ && !selectedPid_) return;
    selectedGroup_.reset();
    selectedPid_.reset();
    changed();
}

void UIState::setInspectorVisible(bool visible) {
    if (inspectorVisible_ == visible) return;
    inspectorVisible_ = visible;
    changed();
}

void UIState::setPaletteVisible(bool visible) {
    if (paletteVisible_ == visible) return;
    paletteVisible_ = visible;
    changed();
}

int UIState::observe(std::function<void()> observer) {
    observers_.emplace_back(nextToken_, std::move(observer));
    return nextToken_++;
}

void UIState::removeObserver(int token) {
    std::erase_if(observers_, [token](const auto& entry) { return entry.first == token; });
}

void UIState::changed() {
    // A copy: an observer may add or remove observers while being told.
    const auto observers = observers_;
    for (const auto& [token, observer] : observers) observer();
}

}  // namespace qm
