// Responsible processes, bundle names and registered applications on macOS.
#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <dlfcn.h>

#include "processes/darwin/DarwinProcessSource.h"

namespace qm {

namespace {

std::optional<std::string> stringValue(id value) {
    if (![value isKindOfClass:[NSString class]]) return std::nullopt;
    const char* utf8 = [(NSString*)value UTF8String];
    if (!utf8) return std::nullopt;
    return std::string(utf8);
}

class DarwinBundleSource : public BundleSource {
public:
    DarwinBundleSource() {
        // A private system function: absent on some systems, which only skips the
        // responsible-process step of the grouping.
        void* symbol = ::dlsym(RTLD_DEFAULT, "responsibility_get_pid_responsible_for_pid");
        responsible_ = reinterpret_cast<ResponsibleFn>(symbol);
    }

    std::optional<int32_t> responsiblePID(int32_t pid) override {
        if (!responsible_) return std::nullopt;
        return static_cast<int32_t>(responsible_(static_cast<pid_t>(pid)));
    }

    BundleInfo bundleInfo(const std::string& path) override {
        BundleInfo info;
        @autoreleasepool {
            // Any bytes a file name may hold, not only UTF-8.
            NSString* bundlePath = [[NSFileManager defaultManager] stringWithFileSystemRepresentation:path.c_str()
                                                                                               length:path.size()];
            NSBundle* bundle = bundlePath ? [NSBundle bundleWithPath:bundlePath] : nil;
            if (!bundle) return info;
            NSDictionary* dictionary = [bundle infoDictionary];
            info.name = stringValue(dictionary[@"CFBundleDisplayName"]);
            if (!info.name) info.name = stringValue(dictionary[@"CFBundleName"]);
            info.id = stringValue([bundle bundleIdentifier]);
        }
        return info;
    }

    // (Not named `id`: that is Objective-C's object type.)
    std::optional<std::string> applicationForBundleID(const std::string& bundleID) override {
        std::optional<std::string> path;
        @autoreleasepool {
            NSString* identifier = [NSString stringWithUTF8String:bundleID.c_str()];
            NSURL* url =
                identifier ? [[NSWorkspace sharedWorkspace] URLForApplicationWithBundleIdentifier:identifier] : nil;
            if (url && url.fileURL) path = std::string(url.fileSystemRepresentation);
        }
        return path;
    }

private:
    using ResponsibleFn = pid_t (*)(pid_t);
    ResponsibleFn responsible_ = nullptr;
};

}  // namespace

std::unique_ptr<BundleSource> makeDarwinBundleSource() { return std::make_unique<DarwinBundleSource>(); }

}  // namespace qm
