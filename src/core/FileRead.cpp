#include "core/FileRead.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace qm {

std::optional<std::string> readFile(const std::string& path, size_t limit) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::string out;
    char buffer[4096];
    bool ok = true;
    while (out.size() < limit) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            ok = false;  // EIO, or a /proc entry whose process just went away
            break;
        }
        if (n == 0) break;
        out.append(buffer, static_cast<size_t>(n));
    }
    ::close(fd);
    if (!ok) return std::nullopt;
    if (out.size() > limit) out.resize(limit);
    return out;
}

std::optional<std::string> readLine(const std::string& path) {
    auto text = readFile(path, 64 * 1024);
    if (!text) return std::nullopt;
    auto end = text->find('\n');
    if (end != std::string::npos) text->resize(end);
    return text;
}

std::optional<uint64_t> readUInt(const std::string& path) {
    auto text = readFile(path, 256);
    return text ? parseUInt(trim(*text)) : std::nullopt;
}

std::optional<int64_t> readInt(const std::string& path) {
    auto text = readFile(path, 256);
    return text ? parseInt(trim(*text)) : std::nullopt;
}

std::optional<double> readDouble(const std::string& path) {
    auto text = readFile(path, 256);
    return text ? parseDouble(trim(*text)) : std::nullopt;
}

std::optional<std::string> readLink(const std::string& path) {
    char buffer[4096];
    ssize_t n = ::readlink(path.c_str(), buffer, sizeof buffer);
    if (n < 0 || static_cast<size_t>(n) >= sizeof buffer) return std::nullopt;
    return std::string(buffer, static_cast<size_t>(n));
}

bool pathExists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

std::vector<std::string> listDirectory(const std::string& path) {
    std::vector<std::string> names;
    DIR* dir = ::opendir(path.c_str());
    if (!dir) return names;
    while (auto* entry = ::readdir(dir)) {
        std::string_view name(entry->d_name);
        if (name == "." || name == "..") continue;
        names.emplace_back(name);
    }
    ::closedir(dir);
    return names;
}

std::optional<uint64_t> parseUInt(std::string_view text) {
    text = trim(text);
    if (text.empty()) return std::nullopt;
    uint64_t value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    // "nan" and "inf" parse, but no figure the system reads may be either.
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<int64_t> parseInt(std::string_view text) {
    text = trim(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    if (text.empty()) return std::nullopt;
    int64_t value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    // "nan" and "inf" parse, but no figure the system reads may be either.
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<double> parseDouble(std::string_view text) {
    text = trim(text);
    if (text.empty()) return std::nullopt;
    double value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) return std::nullopt;
    // "nan" and "inf" parse, but no figure the system reads may be either.
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

std::string_view trim(std::string_view text) {
    const char* blanks = " \t\r\n";
    auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    auto last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

std::vector<std::string_view> splitFields(std::string_view line) {
    std::vector<std::string_view> fields;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
        size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
        if (i > start) fields.push_back(line.substr(start, i - start));
    }
    return fields;
}

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    size_t start = 0;
    while (start < text.size()) {
        auto end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

}  // namespace qm
