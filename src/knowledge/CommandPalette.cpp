#include "knowledge/CommandPalette.h"

#include <algorithm>

#include "fmt/Fmt.h"
#include "knowledge/Localized.h"
#include "knowledge/TextCase.h"

namespace qm {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\n\r\f\v";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

bool groupMatches(const AppGroup& group, const std::string& q) {
    if (lowercased(group.name).find(q) != std::string::npos) return true;
    for (const ProcessSample& p : group.processes)
        if (lowercased(p.name).find(q) != std::string::npos) return true;
    return false;
}

// Busiest first; equal CPU keeps the snapshot's order.
std::vector<const AppGroup*> busiest(std::vector<const AppGroup*> groups, size_t keep) {
    std::stable_sort(groups.begin(), groups.end(),
                     [](const AppGroup* a, const AppGroup* b) { return a->cpu > b->cpu; });
    if (groups.size() > keep) groups.resize(keep);
    return groups;
}

CommandPalette::Item groupItem(const AppGroup& group) {
    CommandPalette::Item item;
    item.kind = CommandPalette::Item::Kind::group;
    item.group = group;
    return item;
}

CommandPalette::Item sectionItem(Section section) {
    CommandPalette::Item item;
    item.kind = CommandPalette::Item::Kind::section;
    item.section = section;
    return item;
}

}  // namespace

std::string CommandPalette::Item::id() const {
    switch (kind) {
        case Kind::section: return "section:" + std::string(rawValue(section));
        case Kind::group: return "group:" + group.id;
        case Kind::library: return "library:" + (entry ? entry->id : std::string());
    }
    return "";
}

std::string CommandPalette::Item::title() const {
    switch (kind) {
        case Kind::section: return qm::title(section);
        case Kind::group: return group.name;
        case Kind::library: return entry ? entry->title : std::string();
    }
    return "";
}

std::string CommandPalette::Item::subtitle() const {
    switch (kind) {
        case Kind::section: return "Screen";
        case Kind::group: return fill("%1$@ · %2$@ CPU", {label(group.kind), Fmt::percent(group.cpu)});
        case Kind::library: return entry ? entry->oneLiner : std::string();
    }
    return "";
}

std::vector<CommandPalette::Item> CommandPalette::items(std::string_view query, const Snapshot& snapshot,
                                                        const ProcessLibrary& library) {
    const std::string q = lowercased(trimmed(query));
    std::vector<Item> out;

    std::vector<const AppGroup*> groups;
    for (const AppGroup& group : snapshot.groups)
        if (q.empty() || groupMatches(group, q)) groups.push_back(&group);
    groups = busiest(std::move(groups), q.empty() ? idleGroups : matchedGroups);
    for (const AppGroup* group : groups) out.push_back(groupItem(*group));

    for (Section section : allSections)
        if (q.empty() || lowercased(title(section)).find(q) != std::string::npos) out.push_back(sectionItem(section));

    // The library only fills in when few running apps match.
    if (!q.empty() && groups.size() < libraryFillBelow) {
        std::vector<const ProcessEntry*> found = library.search(q);
        for (size_t i = 0; i < found.size() && i < libraryItems; ++i) {
            Item item;
            item.kind = Item::Kind::library;
            item.entry = found[i];
            out.push_back(std::move(item));
        }
    }
    return out;
}

CommandPalette::Action CommandPalette::action(const Item& item) {
    Action action;
    switch (item.kind) {
        case Item::Kind::section:
            action.kind = Action::Kind::selectSection;
            action.section = item.section;
            break;
        case Item::Kind::group:
            action.kind = Action::Kind::selectGroup;
            action.section = Section::apps;  // the group is shown in the apps screen
            action.groupID = item.group.id;
            break;
        case Item::Kind::library:
            action.kind = Action::Kind::openURL;
            action.url = item.entry ? item.entry->webURL() : std::string();
            break;
    }
    return action;
}

size_t CommandPalette::down(size_t index, size_t count) {
    if (count == 0) return 0;
    return std::min(index + 1, count - 1);
}

size_t CommandPalette::up(size_t index) { return index == 0 ? 0 : index - 1; }

void CommandPalette::open(const Snapshot& snapshot, const ProcessLibrary& library) {
    open_ = true;
    setQuery("", snapshot, library);
}

void CommandPalette::setQuery(std::string query, const Snapshot& snapshot, const ProcessLibrary& library) {
    query_ = std::move(query);
    items_ = items(query_, snapshot, library);
    highlighted_ = 0;
}

void CommandPalette::update(const Snapshot& snapshot, const ProcessLibrary& library) {
    items_ = items(query_, snapshot, library);
    // The list can shrink under the highlight.
    highlighted_ = items_.empty() ? 0 : std::min(highlighted_, items_.size() - 1);
}

std::optional<CommandPalette::Action> CommandPalette::submit() {
    std::optional<Action> chosen;
    if (highlighted_ < items_.size()) chosen = action(items_[highlighted_]);
    close();
    return chosen;
}

void CommandPalette::close() {
    open_ = false;
    query_.clear();
    items_.clear();
    highlighted_ = 0;
}

}  // namespace qm
