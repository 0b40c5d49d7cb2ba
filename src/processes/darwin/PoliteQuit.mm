// Quit App on macOS: every running application with the group's bundle identifier is
// asked to terminate, the same request as its own Quit menu item (it may still ask
// to save documents, or refuse). A group without a bundle identifier is left alone.
#import <AppKit/AppKit.h>

#include "processes/PoliteQuit.h"

namespace qm {

const bool quitEndsRecordedProcesses = false;

std::string askGroupToQuit(const AppGroup& group) {
    const std::string nothing = group.name + " has no application identity, so it was left alone.";
    if (!group.bundleID || group.bundleID->empty()) return nothing;
    int asked = 0;
    @autoreleasepool {
        NSString* identifier = [NSString stringWithUTF8String:group.bundleID->c_str()];
        if (!identifier) return nothing;
        for (NSRunningApplication* app in [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier]) {
            if ([app terminate]) ++asked;
        }
    }
    if (asked == 0) return "Quillmere could not ask " + group.name + " to quit.";
    return "Asked " + group.name + " to quit.";
}

}  // namespace qm
