#include "core/Paths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace qm {

namespace {
std::string envOr(const char* name, const std::string& fallback) {
    const char* value = std::getenv(name);
    return value && *value ? std::string(value) : fallback;
}
}  // namespace

namespace {
std::string normalisedRoot(std::string value) {
    while (value.size() > 1 && value.back() == '/') value.pop_back();
    return value == "/" ? std::string() : value;
}

std::string& rootStorage() {
    static std::string root = normalisedRoot(envOr("QUILLMERE_ROOT", ""));
    return root;
}
}  // namespace

const std::string& systemRoot() { return rootStorage(); }

void setSystemRootForTesting(std::string root) { rootStorage() = normalisedRoot(std::move(root)); }

std::string homeDirectory() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/tmp";
}

std::string dataDirectory() {
#ifdef __APPLE__
    return homeDirectory() + "/Library/Application Support/Quillmere";
#else
    // XDG says relative paths in these variables are to be ignored.
    std::string base = envOr("XDG_DATA_HOME", "");
    if (base.empty() || base.front() != '/') base = homeDirectory() + "/.local/share";
    return base + "/quillmere";
#endif
}

std::string configDirectory() {
#ifdef __APPLE__
    return homeDirectory() + "/Library/Application Support/Quillmere";
#else
    std::string base = envOr("XDG_CONFIG_HOME", "");
    if (base.empty() || base.front() != '/') base = homeDirectory() + "/.config";
    return base + "/quillmere";
#endif
}

}  // namespace qm
