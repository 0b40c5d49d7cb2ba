#include "processes/SignatureInfo.h"

#include <functional>

namespace qm {

namespace {

std::string macExplanation(const SignatureInfo& info) {
    switch (info.trust) {
        case SignatureInfo::Trust::apple: return "Signed by Apple. This is a genuine part of macOS.";
        case SignatureInfo::Trust::notarized:
            if (info.signer)
                return "Signed by " + *info.signer + " and notarized by Apple, which scanned it for malware.";
            return "Signed by an identified developer and notarized by Apple, which scanned it for malware.";
        case SignatureInfo::Trust::signed_:
            if (info.signer)
                return "Signed by " + *info.signer + ", but not notarized. Common for developer tools and older apps.";
            return "Signed by a developer, but not notarized. Common for developer tools and older apps.";
        case SignatureInfo::Trust::unsigned_:
            return "Not code-signed. Common for things you built or installed with Homebrew, npm or pip. If you don't "
                   "recognise it, look closer.";
        case SignatureInfo::Trust::unknown: break;
    }
    return "Quillmere couldn't read this process's signature, usually because it belongs to the system.";
}

// On Linux the signer is the package (or the store) the file came from.
std::string linuxExplanation(const SignatureInfo& info) {
    switch (info.trust) {
        case SignatureInfo::Trust::apple:
            if (info.signer)
                return "Installed by the system package " + *info.signer +
                       " and unchanged since: it matches the checksum the package recorded.";
            return "Installed by the system's package manager and unchanged since: it matches the checksum the "
                   "package recorded.";
        case SignatureInfo::Trust::notarized:
            if (info.signer) return "Installed from " + *info.signer + ", which builds and ships it as a packaged app.";
            return "Installed from an app store, which builds and ships it as a packaged app.";
        case SignatureInfo::Trust::signed_:
            if (info.signer)
                return "Installed by the package " + *info.signer +
                       ", but changed since: it no longer matches the package's checksum. An unfinished update or a "
                       "local edit does this. If you didn't change it, look closer.";
            return "Installed by a package, but changed since: it no longer matches the package's checksum. An "
                   "unfinished update or a local edit does this. If you didn't change it, look closer.";
        case SignatureInfo::Trust::unsigned_:
            return "Not installed by any package. Common for things you built or installed with pip, npm or cargo. If "
                   "you don't recognise it, look closer.";
        case SignatureInfo::Trust::unknown: break;
    }
    return "Quillmere couldn't tell where this program came from, usually because it belongs to the kernel or its "
           "file is gone.";
}

}  // namespace

std::string SignatureInfo::title(Wording wording) const {
    bool mac = wording == Wording::mac;
    switch (trust) {
        case Trust::apple: return mac ? "Part of macOS" : "System package";
        case Trust::notarized: return mac ? "Verified developer" : "From an app store";
        case Trust::signed_: return mac ? "Signed" : "Modified";
        case Trust::unsigned_: return mac ? "Unsigned" : "No package";
        case Trust::unknown: break;
    }
    return "Unknown";
}

std::string SignatureInfo::explanation(Wording wording) const {
    return wording == Wording::mac ? macExplanation(*this) : linuxExplanation(*this);
}

std::string_view rawValue(SignatureInfo::Trust trust, SignatureInfo::Wording wording) {
    const bool mac = wording == SignatureInfo::Wording::mac;
    switch (trust) {
        case SignatureInfo::Trust::apple: return mac ? "apple" : "package";
        case SignatureInfo::Trust::notarized: return mac ? "notarized" : "store";
        case SignatureInfo::Trust::signed_: return mac ? "signed" : "modified";
        case SignatureInfo::Trust::unsigned_: return mac ? "unsigned" : "unpackaged";
        case SignatureInfo::Trust::unknown: break;
    }
    return "unknown";
}

std::string signerFromSummary(std::string_view summary) {
    constexpr std::string_view prefix = "Developer ID Application: ";
    if (summary.starts_with(prefix)) summary.remove_prefix(prefix.size());
    if (auto team = summary.find(" ("); team != std::string_view::npos) summary = summary.substr(0, team);
    return std::string(summary);
}

}  // namespace qm

size_t std::hash<qm::SignatureInfo>::operator()(const qm::SignatureInfo& info) const noexcept {
    auto mix = [](size_t seed, size_t value) {
        return seed ^ (value + 0x9e3779b97f4a7c15ull + (seed << 6) + (seed >> 2));
    };
    std::hash<std::optional<std::string>> text;
    size_t h = std::hash<int>{}(static_cast<int>(info.trust));
    h = mix(h, text(info.teamID));
    h = mix(h, text(info.signer));
    return mix(h, text(info.identifier));
}
