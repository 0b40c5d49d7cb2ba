// The provenance of executables on a Debian-family system, read straight from dpkg's
// database: /var/lib/dpkg/info/<package>.list names every file a package installed,
// <package>.md5sums the MD5 of each as shipped. The lists are indexed once, on first
// use (on the signature queue, never the sampler's), and kept; checksums are read per
// question. No command is run per executable.
//
// The five answers on Linux:
//   apple      listed by an installed package and its MD5 matches ("System package");
//   notarized  under a Flatpak installation or /snap ("From an app store");
//   signed_    listed by a package but its MD5 differs ("Modified");
//   unsigned_  listed by no package: built locally, or pip, npm, cargo ("No package");
//   unknown    empty path, deleted or unreadable file, no usable database.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "processes/SignatureInfo.h"

namespace qm {

class PackageDatabase {
public:
    struct Limits {
        uint64_t indexBytes = 256ull << 20;   // all file lists together
        uint64_t checksumBytes = 2ull << 30;  // one executable to hash
    };

    // `root` is prepended to every path read ("" for the live system, a fixture tree
    // in tests); paths asked about are as the running system names them.
    explicit PackageDatabase(std::string root);
    PackageDatabase(std::string root, Limits limits);

    SignatureInfo classify(const std::string& path);

    // Whether the file lists have been read (tests check that some answers never do).
    bool indexed() const { return indexed_; }

private:
    void buildIndex();
    // The package that lists one of `names`, and the name it lists it under.
    std::optional<std::pair<uint32_t, std::string>> owner(const std::vector<std::string>& names) const;
    // True while dpkg holds its lock: files and checksums may be mid-update.
    bool dpkgBusy() const;

    std::string root_;
    std::string infoDir_;
    Limits limits_;
    bool indexed_ = false;
    bool usable_ = false;
    std::vector<std::string> packages_;  // list file names without ".list"
    // Hash of each listed path and the package that lists it, sorted for lookups:
    // 16 bytes a file instead of a map of strings.
    std::vector<std::pair<uint64_t, uint32_t>> owners_;
};

// The MD5 of a file's content as 32 lowercase hex digits, or absent when it cannot
// be read whole or is larger than `limit` bytes.
std::optional<std::string> fileMD5(const std::string& path, uint64_t limit);

}  // namespace qm
