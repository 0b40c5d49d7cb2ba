// The thin layer around the platform's updater: whether it may start at all, and
// the one-time "What's New" note after the application has been updated.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qm {

class Defaults;

struct ReleaseNote {
    struct Item {
        std::string symbol;  // a system symbol name
        std::string color;   // an accent colour name, one per item
        std::string title;
        std::string detail;
        bool operator==(const Item&) const = default;
    };
    std::string version;
    std::vector<Item> items;
    bool operator==(const ReleaseNote&) const = default;
};

struct WhatsNew {
    static const std::vector<ReleaseNote>& notes();

    // The note to show once after an update to `currentVersion`. A fresh install
    // and a relaunch of the same version show nothing; any other version is
    // remembered as seen, whether or not it has a note.
    static std::optional<ReleaseNote> pendingNote(Defaults& defaults, const std::string& currentVersion);

    static constexpr const char* sheetTitle = "What's New in Quillmere";
    static std::string versionLine(const ReleaseNote& note);  // "Version 1.0.0"
};

// A development build carries no signing key, or an unexpanded build variable in
// its place; the updater starts only with something that can be a real key.
bool updaterKeyIsUsable(const std::optional<std::string>& publicKey);

// What the interface shows of an update the updater has found.
struct UpdateState {
    std::optional<std::string> availableVersion;
    std::optional<ReleaseNote> whatsNew;
};

}  // namespace qm
