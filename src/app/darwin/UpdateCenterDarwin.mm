// macOS: Sparkle's standard updater controller, started once when the bundle carries
// a usable EdDSA public key. A development build has none (or an unexpanded
// "$(...)" build variable), and then no update is ever offered.
#import <Foundation/Foundation.h>
#import <Sparkle/Sparkle.h>

#include "app/updates/UpdateCenter.h"

@interface QMUpdaterDelegate : NSObject <SPUUpdaterDelegate, SPUStandardUserDriverDelegate>
@end

@implementation QMUpdaterDelegate
// A menu-bar program is seldom in front when a scheduled check finds an update. Sparkle
// then leaves the reminder to us: the version waits in the menu-bar item's menu
// ("Update to Version …"), whose click brings Sparkle's own window.
- (BOOL)supportsGentleScheduledUpdateReminders {
    return YES;
}
- (BOOL)standardUserDriverShouldHandleShowingScheduledUpdate:(SUAppcastItem*)update
                                         andInImmediateFocus:(BOOL)immediateFocus {
    (void)update;
    return immediateFocus;  // Sparkle shows it at once only when that is expected (at launch)
}
- (void)standardUserDriverWillHandleShowingUpdate:(BOOL)handleShowingUpdate
                                        forUpdate:(SUAppcastItem*)update
                                            state:(SPUUserUpdateState*)state {
    (void)state;
    if (handleShowingUpdate) return;  // Sparkle's window is up: no reminder needed
    const char* text = update.displayVersionString.UTF8String;
    std::string version = text ? text : "";
    dispatch_async(dispatch_get_main_queue(), ^{
      qm::app::UpdateCenter::shared().setAvailableVersion(version);
    });
}
- (void)standardUserDriverDidReceiveUserAttentionForUpdate:(SUAppcastItem*)update {
    (void)update;
    dispatch_async(dispatch_get_main_queue(), ^{
      qm::app::UpdateCenter::shared().setAvailableVersion(std::nullopt);
    });
}
- (void)standardUserDriverWillFinishUpdateSession {
    dispatch_async(dispatch_get_main_queue(), ^{
      qm::app::UpdateCenter::shared().setAvailableVersion(std::nullopt);
    });
}
@end

namespace qm::app {

namespace {
SPUStandardUpdaterController* controller = nil;
QMUpdaterDelegate* updaterDelegate = nil;
}  // namespace

void UpdateCenter::start() {
    if (controller) return;
    id key = [NSBundle.mainBundle objectForInfoDictionaryKey:@"SUPublicEDKey"];
    std::optional<std::string> publicKey;
    if ([key isKindOfClass:NSString.class]) publicKey = std::string([(NSString*)key UTF8String]);
    if (!updaterKeyIsUsable(publicKey)) return;
    updaterDelegate = [[QMUpdaterDelegate alloc] init];
    controller = [[SPUStandardUpdaterController alloc] initWithStartingUpdater:YES
                                                               updaterDelegate:updaterDelegate
                                                            userDriverDelegate:updaterDelegate];
    running_ = controller != nil;
}

void UpdateCenter::checkForUpdates() {
    if (controller) [controller checkForUpdates:nil];
}

}  // namespace qm::app
