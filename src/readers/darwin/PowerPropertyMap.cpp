#include "readers/darwin/PowerPropertyMap.h"

#include <vector>

namespace qm {

namespace {

std::string stringFromCF(CFStringRef text) {
    if (const char* fast = CFStringGetCStringPtr(text, kCFStringEncodingUTF8)) return fast;
    const CFIndex length = CFStringGetLength(text);
    const CFIndex size = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
    std::vector<char> buffer(static_cast<size_t>(size));
    if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) return {};
    return buffer.data();
}

}  // namespace

PropertyMap propertyFromCF(CFTypeRef value) {
    if (!value) return nullptr;
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
    if (type == CFNumberGetTypeID()) {
        auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double d = 0;
            CFNumberGetValue(number, kCFNumberDoubleType, &d);
            return d;
        }
        int64_t i = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &i);
        return i;
    }
    if (type == CFStringGetTypeID()) return stringFromCF(static_cast<CFStringRef>(value));
    if (type == CFArrayGetTypeID()) {
        auto array = static_cast<CFArrayRef>(value);
        PropertyMap out = PropertyMap::array();
        for (CFIndex i = 0, n = CFArrayGetCount(array); i < n; ++i)
            out.push_back(propertyFromCF(CFArrayGetValueAtIndex(array, i)));
        return out;
    }
    if (type == CFDictionaryGetTypeID()) {
        auto dictionary = static_cast<CFDictionaryRef>(value);
        const CFIndex n = CFDictionaryGetCount(dictionary);
        std::vector<const void*> keys(static_cast<size_t>(n)), values(static_cast<size_t>(n));
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        PropertyMap out = PropertyMap::object();
        for (CFIndex i = 0; i < n; ++i) {
            auto key = static_cast<CFTypeRef>(keys[static_cast<size_t>(i)]);
            if (!key || CFGetTypeID(key) != CFStringGetTypeID()) continue;
            out[stringFromCF(static_cast<CFStringRef>(key))] = propertyFromCF(values[static_cast<size_t>(i)]);
        }
        return out;
    }
    return nullptr;
}

}  // namespace qm
