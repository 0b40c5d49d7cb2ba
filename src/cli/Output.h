// Writing the commands' output: every text and JSON document goes through here, so
// the machine is named for this platform everywhere and a failed write is noticed.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace qm::cli {

// Writes text to standard output in this platform's words ("your computer" on Linux
// where the sentence says "your Mac"), with control characters and escape sequences
// (a process can be named anything) made harmless.
void print(const std::string& text);

// Writes one JSON document and a newline: indented for the one-document commands,
// on one line for streams (JSON Lines). Sentences are reworded for this platform;
// bytes that are not UTF-8 (process names can hold anything) become U+FFFD.
void printJson(nlohmann::json document, bool oneLine = false);

// Writes one line of a JSON stream that is already text in this platform's words
// (appendSnapshotJson), and a newline; the reader gets it at once.
void printJsonLine(std::string_view line);

// Flushes standard output. A write that failed (a full disk, a closed descriptor)
// is reported in one line and turns a success into exit code 1.
int finishOutput(int code = 0);

}  // namespace qm::cli
