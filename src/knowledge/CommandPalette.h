// The keyboard search box over the main window: one query finds running app groups,
// screens of the window and entries of the process library. Choosing a result gives
// an action for the interface to perform.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Snapshot.h"
#include "knowledge/ProcessEntry.h"
#include "knowledge/ProcessLibrary.h"
#include "knowledge/Section.h"

namespace qm {

class CommandPalette {
public:
    static constexpr std::string_view placeholder = "Search apps, processes or screens…";
    static constexpr size_t idleGroups = 6;  // busiest apps shown for an empty query
    static constexpr size_t matchedGroups = 10;
    static constexpr size_t libraryFillBelow = 4;  // library joins when fewer groups match
    static constexpr size_t libraryItems = 4;

    struct Item {
        enum class Kind { section, group, library };
        Kind kind = Kind::section;
        Section section = Section::overview;  // kind section
        AppGroup group;                       // kind group (a copy of the snapshot's)
        const ProcessEntry* entry = nullptr;  // kind library (owned by the library)

        // Unique within one list: "section:<raw>", "group:<group id>", "library:<id>".
        std::string id() const;
        std::string title() const;
        std::string subtitle() const;  // "Screen", "<kind> · <cpu> CPU", the one-liner
    };

    // What choosing an item means.
    struct Action {
        enum class Kind { selectSection, selectGroup, openURL };
        Kind kind = Kind::selectSection;
        Section section = Section::overview;  // selectSection
        std::string groupID;                  // selectGroup: the group's id
        std::string url;                      // openURL: the entry's web page
        bool operator==(const Action&) const = default;
    };

    // The result list for a query: with a blank query the six busiest groups and every
    // screen; otherwise matching groups (by group or process name, busiest first, at
    // most ten), then matching screens, then up to four library entries when fewer
    // than four groups matched.
    static std::vector<Item> items(std::string_view query, const Snapshot& snapshot, const ProcessLibrary& library);
    static Action action(const Item& item);

    // Keyboard moves without wrap-around; an empty list highlights 0.
    static size_t down(size_t index, size_t count);
    static size_t up(size_t index);

    // --- The open palette: query, results and highlighted row. ---

    // Opening starts with an empty query.
    void open(const Snapshot& snapshot, const ProcessLibrary& library);
    bool isOpen() const { return open_; }
    // A new query rebuilds the list and highlights the first row.
    void setQuery(std::string query, const Snapshot& snapshot, const ProcessLibrary& library);
    // A new snapshot rebuilds the list; the highlight stays, clamped to the list.
    void update(const Snapshot& snapshot, const ProcessLibrary& library);
    void moveDown() { highlighted_ = down(highlighted_, items_.size()); }
    void moveUp() { highlighted_ = up(highlighted_); }
    // Return: the highlighted item's action (none for an empty list); the palette closes.
    std::optional<Action> submit();
    // Escape or a click outside.
    void close();

    const std::string& query() const { return query_; }
    const std::vector<Item>& results() const { return items_; }
    size_t highlighted() const { return highlighted_; }

private:
    bool open_ = false;
    std::string query_;
    std::vector<Item> items_;
    size_t highlighted_ = 0;
};

}  // namespace qm
