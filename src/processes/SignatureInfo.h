// Who made an executable, as far as the system can vouch for it: on macOS its code
// signature, on Linux its package provenance. Five trust levels, most trusted first.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qm {

struct SignatureInfo {
    // macOS: part of the system, notarized, signed, unsigned, unreadable.
    // Linux: packaged and unchanged, from a Flatpak or Snap store, packaged but
    // modified, from no package, unknown (see linux/Provenance.h).
    enum class Trust { apple, notarized, signed_, unsigned_, unknown };

    // Which platform's words the texts use. Both are here so that both are tested.
    enum class Wording { mac, linux };
#ifdef __APPLE__
    static constexpr Wording hostWording = Wording::mac;
#else
    static constexpr Wording hostWording = Wording::linux;
#endif

    Trust trust = Trust::unknown;
    std::optional<std::string> teamID;
    std::optional<std::string> signer;      // the developer's name (Linux: the package)
    std::optional<std::string> identifier;  // the signing identifier (Linux: the app id)

    // Short badge text ("Signed") and the sentence that explains it.
    std::string title(Wording wording = hostWording) const;
    std::string explanation(Wording wording = hostWording) const;

    bool operator==(const SignatureInfo&) const = default;
};

// The level's key for JSON and logs, in the platform's words: "apple", "notarized",
// "signed", "unsigned", "unknown" on macOS; "package", "store", "modified",
// "unpackaged", "unknown" on Linux, where nothing is signed by Apple.
std::string_view rawValue(SignatureInfo::Trust trust, SignatureInfo::Wording wording = SignatureInfo::hostWording);

// The developer's name in a certificate's subject summary: without a leading
// "Developer ID Application: " and without the team identifier in parentheses.
std::string signerFromSummary(std::string_view summary);

}  // namespace qm

template <>
struct std::hash<qm::SignatureInfo> {
    size_t operator()(const qm::SignatureInfo& info) const noexcept;
};
