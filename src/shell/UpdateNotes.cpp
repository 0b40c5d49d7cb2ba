#include "shell/UpdateNotes.h"

#include "core/Defaults.h"
#include "knowledge/Localized.h"

namespace qm {

const std::vector<ReleaseNote>& WhatsNew::notes() {
    static const std::vector<ReleaseNote> all{
        {"1.0.0",
         {
             {"square.stack.3d.up.fill", "blue", "Apps, not processes",
              "Helpers are grouped under the app that owns them, so Chrome is one row, not a hundred."},
             {"text.bubble.fill", "purple", "Every process, explained",
              "Click anything to see what it is, whether it's safe, and what to do about it."},
             {"clock.arrow.circlepath", "orange", "A timeline that remembers",
              "Scroll back through 30 days to see what made your fans spin or your battery drain."},
         }},
    };
    return all;
}

std::optional<ReleaseNote> WhatsNew::pendingNote(Defaults& defaults, const std::string& currentVersion) {
    const std::string key = "whatsNew.lastSeenVersion";
    auto lastSeen = defaults.value(key);
    if (!lastSeen) {
        defaults.set(key, currentVersion);
        return std::nullopt;
    }
    if (defaults.stringValue(key) == currentVersion) return std::nullopt;
    defaults.set(key, currentVersion);
    for (const ReleaseNote& note : notes())
        if (note.version == currentVersion) return note;
    return std::nullopt;
}

std::string WhatsNew::versionLine(const ReleaseNote& note) { return fill("Version %@", {note.version}); }

bool updaterKeyIsUsable(const std::optional<std::string>& publicKey) {
    return publicKey && publicKey->size() >= 31 && publicKey->find("$(") == std::string::npos;
}

}  // namespace qm
