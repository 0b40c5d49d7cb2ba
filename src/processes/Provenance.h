// Where a Linux executable came from, decided from plain facts: the path alone tells a
// Flatpak or Snap store app; the package database's file lists and checksums tell a
// packaged file, and whether it is unchanged. The file reading is in linux/.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "processes/SignatureInfo.h"

namespace qm {

// An app installed from a store: "Flatpak" or "Snap", and the app's id.
struct StoreOrigin {
    std::string store;
    std::string appID;
};

// The store of a path under /var/lib/flatpak, a user's ~/.local/share/flatpak (any
// home: another user's app is still a store app) or /snap; absent otherwise.
std::optional<StoreOrigin> storeOrigin(std::string_view path);

// The names a path may be listed under in the package database. Since the /usr merge,
// /bin, /sbin and /lib* are links into /usr, but packages still list many files under
// the old names, so "/usr/bin/ls" is also looked up as "/bin/ls" and the other way round.
std::vector<std::string> packagePathAliases(std::string_view path);

// The recorded MD5 (32 lowercase hex digits) of `path` in a package's md5sums text,
// whose lines read "<md5>  <path without its leading slash>"; absent when not listed.
std::optional<std::string> recordedChecksum(std::string_view md5sums, std::string_view path);

// A package's name without its architecture ("binutils-common:amd64" gives
// "binutils-common").
std::string packageName(std::string_view listName);

// The answer for each provenance outcome, with the package or store as the signer.
SignatureInfo packagedUnchanged(std::string_view package);
SignatureInfo packagedModified(std::string_view package);
SignatureInfo fromStore(const StoreOrigin& origin);
SignatureInfo withoutPackage();

}  // namespace qm
