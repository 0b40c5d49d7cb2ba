// Quit App on macOS: every running application with the group's bundle identifier is
// asked to terminate, the same request as its own Quit menu item (it may still ask
// to save documents, or refuse). A group without a bundle identifier is left alone.
#import <AppKit/AppKit.h>

#include "processes/PoliteQuit.h"

namespace qm {

int askGroupToQuit(const AppGroup& group) {
    if (!group.bundleID || group.bundleID->empty()) return 0;
    int asked = 0;
    @autoreleasepool {
        NSString* identifier = [NSString stringWithUTF8String:group.bundleID->c_str()];
        if (!identifier) return 0;
        for (NSRunningApplication* app in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
            if ([app terminate]) ++asked;
        }
    }
    return asked;
}

}  // namespace qm
