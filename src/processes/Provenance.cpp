#include "processes/Provenance.h"

#include <array>

#include "core/FileRead.h"

namespace qm {

namespace {

// The path component that starts at `start` ("org.mozilla.firefox" in
// /var/lib/flatpak/app/org.mozilla.firefox/x86_64/...); empty when there is none.
std::string componentAfter(std::string_view path, size_t start) {
    std::string_view rest = path.substr(start);
    return std::string(rest.substr(0, rest.find('/')));
}

}  // namespace

std::optional<StoreOrigin> storeOrigin(std::string_view path) {
    // Both system-wide and per-user installations keep apps and runtimes below
    // "flatpak/app/<id>/" and "flatpak/runtime/<id>/".
    constexpr std::string_view system = "/var/lib/flatpak/", user = "/.local/share/flatpak/";
    size_t kind = std::string_view::npos;
    if (path.starts_with(system))
        kind = system.size();
    else if (size_t at = path.find(user); at != std::string_view::npos)
        kind = at + user.size();
    if (kind != std::string_view::npos) {
        for (std::string_view folder : {std::string_view("app/"), std::string_view("runtime/")}) {
            if (!path.substr(kind).starts_with(folder)) continue;
            std::string id = componentAfter(path, kind + folder.size());
            if (!id.empty()) return StoreOrigin{"Flatpak", id};
        }
    }
    // Snaps are mounted read-only at /snap/<name>/<revision>/.
    constexpr std::string_view snap = "/snap/";
    if (path.starts_with(snap)) {
        std::string name = componentAfter(path, snap.size());
        if (!name.empty() && name != "bin") return StoreOrigin{"Snap", name};
    }
    return std::nullopt;
}

std::vector<std::string> packagePathAliases(std::string_view path) {
    std::vector<std::string> names{std::string(path)};
    static constexpr std::array<std::string_view, 6> merged = {"/bin/",   "/sbin/",  "/lib/",
                                                               "/lib32/", "/lib64/", "/libx32/"};
    for (std::string_view top : merged) {
        if (path.starts_with(top))
            names.push_back("/usr" + std::string(path));
        else if (path.starts_with("/usr") && path.substr(4).starts_with(top))
            names.emplace_back(path.substr(4));
    }
    return names;
}

std::optional<std::string> recordedChecksum(std::string_view md5sums, std::string_view path) {
    if (path.starts_with('/')) path.remove_prefix(1);
    for (auto line : splitLines(md5sums)) {
        // "<32 hex digits><two spaces><path>"; the path may itself hold spaces.
        if (line.size() < 34 || line[32] != ' ') continue;
        std::string_view listed = line.substr(33);
        if (!listed.empty() && listed[0] == ' ') listed.remove_prefix(1);
        if (listed != path) continue;
        std::string sum(line.substr(0, 32));
        for (char& c : sum) {
            if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
            if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return std::nullopt;
        }
        return sum;
    }
    return std::nullopt;
}

std::string packageName(std::string_view listName) { return std::string(listName.substr(0, listName.find(':'))); }

SignatureInfo packagedUnchanged(std::string_view package) {
    SignatureInfo info;
    info.trust = SignatureInfo::Trust::apple;
    info.signer = std::string(package);
    return info;
}

SignatureInfo packagedModified(std::string_view package) {
    SignatureInfo info;
    info.trust = SignatureInfo::Trust::signed_;
    info.signer = std::string(package);
    return info;
}

SignatureInfo fromStore(const StoreOrigin& origin) {
    SignatureInfo info;
    info.trust = SignatureInfo::Trust::notarized;
    info.signer = origin.store;
    info.identifier = origin.appID;
    return info;
}

SignatureInfo withoutPackage() {
    SignatureInfo info;
    info.trust = SignatureInfo::Trust::unsigned_;
    return info;
}

}  // namespace qm
