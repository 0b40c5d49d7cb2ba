#include "cli/HistoryAccess.h"

#include <cstdio>

#include "cli/Command.h"
#include "history/HistoryFiles.h"

namespace qm::cli {

RecordedHistory openRecordedHistory(const std::string& dbOption, const std::string& command) {
    RecordedHistory history;
    history.path = dbOption.empty() ? defaultHistoryPath() : dbOption;
    if (!hasHistoryFile(history.path)) {
        // A database named on the command line must be there; the default one simply
        // has not been started yet.
        if (!dbOption.empty()) {
            std::fprintf(stderr, "quillmere %s: no history database at %s\n", command.c_str(), history.path.c_str());
            exitWith(1);
        }
        return history;
    }
    history.store = std::make_unique<HistoryStore>(history.path);
    if (!history.store->isOpen()) exitWith(1);  // the store has said why in one line
    return history;
}

std::string nothingRecordedText(const std::string& path) {
    return "Nothing has been recorded yet: no recorder has written to " + path +
           ".\n"
           "Start one with `quillmere record` (Ctrl-C stops it), or keep one running in the background:\n"
           "  systemctl --user enable --now quillmere\n";
}

}  // namespace qm::cli
