// The code signature of one executable through the Security framework's static-code
// calls. Only the signature and the requirement are checked (kSecCSDoNotValidateExecutable
// | kSecCSDoNotValidateResources), never every page of a large bundle.
#import <Foundation/Foundation.h>
#import <Security/Security.h>

#include "processes/SignatureCache.h"

namespace qm {

namespace {

// Releases a Core Foundation object when the scope ends.
template <typename T>
struct CFHolder {
    T ref = nullptr;
    ~CFHolder() {
        if (ref) CFRelease(ref);
    }
};

std::optional<std::string> stringValue(CFDictionaryRef dictionary, CFStringRef key) {
    CFTypeRef value = CFDictionaryGetValue(dictionary, key);
    if (!value || CFGetTypeID(value) != CFStringGetTypeID()) return std::nullopt;
    NSString* text = (__bridge NSString*)value;
    const char* utf8 = text.UTF8String;
    if (!utf8) return std::nullopt;
    return std::string(utf8);
}

std::optional<std::string> leafSigner(CFDictionaryRef dictionary) {
    CFTypeRef value = CFDictionaryGetValue(dictionary, kSecCodeInfoCertificates);
    if (!value || CFGetTypeID(value) != CFArrayGetTypeID()) return std::nullopt;
    auto certificates = static_cast<CFArrayRef>(value);
    if (CFArrayGetCount(certificates) < 1) return std::nullopt;
    auto leaf = (SecCertificateRef)CFArrayGetValueAtIndex(certificates, 0);
    if (!leaf || CFGetTypeID(leaf) != SecCertificateGetTypeID()) return std::nullopt;
    CFHolder<CFStringRef> summary{SecCertificateCopySubjectSummary(leaf)};
    if (!summary.ref) return std::nullopt;
    const char* utf8 = ((__bridge NSString*)summary.ref).UTF8String;
    if (!utf8) return std::nullopt;
    return signerFromSummary(utf8);
}

// A requirement the code fails to satisfy, or that cannot even be built, counts as not met.
bool satisfies(SecStaticCodeRef code, CFStringRef text) {
    CFHolder<SecRequirementRef> requirement;
    if (SecRequirementCreateWithString(text, kSecCSDefaultFlags, &requirement.ref) != errSecSuccess) return false;
    const SecCSFlags signatureOnly = kSecCSDoNotValidateExecutable | kSecCSDoNotValidateResources;
    return SecStaticCodeCheckValidity(code, signatureOnly, requirement.ref) == errSecSuccess;
}

}  // namespace

SignatureInfo evaluateSignature(const std::string& path) {
    SignatureInfo info;
    if (path.empty()) return info;
    @autoreleasepool {
        // From the path's bytes: a name that is not UTF-8 would make an NSString nil
        // (and fileURLWithPath: throw on nil).
        CFHolder<CFURLRef> url{CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                                       reinterpret_cast<const UInt8*>(path.data()),
                                                                       static_cast<CFIndex>(path.size()), false)};
        if (!url.ref) return info;
        CFHolder<SecStaticCodeRef> code;
        if (SecStaticCodeCreateWithPath(url.ref, kSecCSDefaultFlags, &code.ref) != errSecSuccess) return info;
        CFHolder<CFDictionaryRef> signing;
        if (SecCodeCopySigningInformation(code.ref, kSecCSSigningInformation, &signing.ref) != errSecSuccess ||
            !signing.ref) {
            info.trust = SignatureInfo::Trust::unsigned_;
            return info;
        }
        info.identifier = stringValue(signing.ref, kSecCodeInfoIdentifier);
        info.teamID = stringValue(signing.ref, kSecCodeInfoTeamIdentifier);
        info.signer = leafSigner(signing.ref);
        if (!info.identifier) {
            info.trust = SignatureInfo::Trust::unsigned_;
            return info;
        }
        if (satisfies(code.ref, CFSTR("anchor apple")))
            info.trust = SignatureInfo::Trust::apple;
        else if (satisfies(code.ref, CFSTR("notarized")))
            info.trust = SignatureInfo::Trust::notarized;
        else
            info.trust = SignatureInfo::Trust::signed_;
    }
    return info;
}

}  // namespace qm
