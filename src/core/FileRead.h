// Small, exception-free file reads for the /proc and /sys sources.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm {

// The whole file (up to `limit` bytes), or absent when it cannot be opened or read.
std::optional<std::string> readFile(const std::string& path, size_t limit = 1 << 20);
// The first line without its newline, or absent.
std::optional<std::string> readLine(const std::string& path);
// The file's content as one unsigned or signed integer (surrounding blanks allowed).
std::optional<uint64_t> readUInt(const std::string& path);
std::optional<int64_t> readInt(const std::string& path);
std::optional<double> readDouble(const std::string& path);
// Target of a symbolic link, or absent.
std::optional<std::string> readLink(const std::string& path);
bool pathExists(const std::string& path);
// Names in a directory (without "." and ".."), empty when unreadable.
std::vector<std::string> listDirectory(const std::string& path);

// Parsing helpers that never throw.
std::optional<uint64_t> parseUInt(std::string_view text);
std::optional<int64_t> parseInt(std::string_view text);
std::optional<double> parseDouble(std::string_view text);  // finite numbers only
std::string_view trim(std::string_view text);
// Splits on runs of blanks (spaces and tabs).
std::vector<std::string_view> splitFields(std::string_view line);
std::vector<std::string_view> splitLines(std::string_view text);

}  // namespace qm
