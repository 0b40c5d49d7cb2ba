// Cheap checks that the recorder's open database is still a sound SQLite file: its
// header read from the disk (not SQLite's cache), and SQLite's own page check within
// a time budget, so a small history is checked whole every minute and a big one at
// least at its header, schema and newest pages.
#pragma once

#include <sqlite3.h>

namespace qm {

enum class HealthCheck {
    sound,       // checked and fine
    damaged,     // SQLite or the header says the file is damaged
    unfinished,  // the budget ran out first: nothing was found, nothing proved
    failed,      // could not check (busy, out of memory): try again later
};

// Reads the first 100 bytes of the main database file through SQLite's own handle
// (opening the file a second time would drop SQLite's locks on it) and compares them
// with what a database of this page size must hold.
HealthCheck checkHeader(sqlite3* db);

// PRAGMA quick_check, stopped after `seconds`. Pages come from the disk: SQLite's
// cache of unchanged pages is let go first.
HealthCheck checkPages(sqlite3* db, double seconds);

// Reads the schema and the newest rows of every table and index: a few pages that
// any damage to the file's structure or latest writes shows in.
HealthCheck checkNewestPages(sqlite3* db);

}  // namespace qm
