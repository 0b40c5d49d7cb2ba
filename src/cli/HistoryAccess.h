// How the history commands (events, timeline, energy, advisor) find the history they
// read, and what they say when no recorder has written one yet.
#pragma once

#include <memory>
#include <string>

#include "history/HistoryStore.h"

namespace qm::cli {

struct RecordedHistory {
    std::string path;
    // Absent when nothing has been recorded at `path`: no recorder has written it.
    std::unique_ptr<HistoryStore> store;
};

// The database named by --db (`dbOption`), else $QUILLMERE_DB, else the data folder's.
// Reading never creates it. A --db that names no database, or one that cannot be
// opened, ends the command with a one-line error and exit code 1.
RecordedHistory openRecordedHistory(const std::string& dbOption, const std::string& command);

// Said in place of a history command's figures while nothing has been recorded.
std::string nothingRecordedText(const std::string& path);

}  // namespace qm::cli
