// The English texts are written for a Mac ("Your Mac is running hot.", "Spotlight is
// indexing"). On Linux the same sentences name the machine and its parts for what
// they are: "your computer", "the system", "the file indexer". This is the one place
// that wording lives; every output path (text, JSON, CSV, stored events, the
// notifications) goes through it.
#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

#include "core/Snapshot.h"

namespace qm {

// Rewrites the whole words "Mac", "Macs", "macOS" and "Spotlight", the phrases around
// them, and the "menu bar" (the system tray); "MacBook", "iMac" and process names are
// left alone.
std::string linuxWording(const std::string& text);

// linuxWording on Linux; the text unchanged on a Mac.
std::string forThisPlatform(const std::string& text);

// The symbol for a chip or a status: "apple.logo" names the system on a Mac only.
std::string symbolForThisPlatform(const std::string& symbol);

// An event's title and detail in this platform's words.
TimelineEvent forThisPlatform(TimelineEvent event);

// Every sentence in a JSON document in this platform's words: string values are
// reworded, but never those of identifying keys (ids, keys, names, paths, URLs),
// which are data rather than prose; "symbol" values get symbolForThisPlatform.
void rewordForThisPlatform(nlohmann::json& document);

}  // namespace qm
