// The Mac: the activation policy decides the Dock icon, the main app's login item is
// SMAppService.mainApp, the language is set per app in Language & Region, and the
// system's quit and reopen events are told apart from the user's own.
#import <AppKit/AppKit.h>
#import <ServiceManagement/ServiceManagement.h>

#include "app/PlatformApp.h"
#include "shell/SettingsText.h"

// Receives the reopen Apple event, which AppKit would otherwise answer itself.
@interface QMReopenHandler : NSObject {
@public
    std::function<void()> reopened;
}
- (void)handleReopen:(NSAppleEventDescriptor*)event withReplyEvent:(NSAppleEventDescriptor*)reply;
@end

@implementation QMReopenHandler
- (void)handleReopen:(NSAppleEventDescriptor*)event withReplyEvent:(NSAppleEventDescriptor*)reply {
    (void)event;
    (void)reply;
    if (reopened) reopened();
}
@end

namespace qm::app {

namespace {
// Set once the workspace announces a power off, restart or log out: the quits that
// follow are the system's, whatever the current event is.
bool powerOffAnnounced = false;
QMReopenHandler* reopenHandler = nil;

void watchPowerOff() {
    static bool watching = false;
    if (watching) return;
    watching = true;
    [NSWorkspace.sharedWorkspace.notificationCenter addObserverForName:NSWorkspaceWillPowerOffNotification
                                                                object:nil
                                                                 queue:nil
                                                            usingBlock:^(NSNotification*) {
                                                              powerOffAnnounced = true;
                                                            }];
}
}  // namespace

void applyActivationPolicy(ActivationPolicy policy) {
    watchPowerOff();  // applied at launch, before any quit can arrive
    [NSApp setActivationPolicy:policy == ActivationPolicy::regular ? NSApplicationActivationPolicyRegular
                                                                   : NSApplicationActivationPolicyAccessory];
}

bool activationPolicyIsRegular() { return NSApp.activationPolicy == NSApplicationActivationPolicyRegular; }

QuitTrigger currentQuitTrigger() {
    QuitTrigger trigger;
    trigger.sessionEnding = powerOffAnnounced;
    // While AppKit asks whether to terminate, the Apple event that asked is current:
    // loginwindow's carries its reason ("why?"); ⌘Q and the menu send none.
    NSAppleEventDescriptor* event = [NSAppleEventManager sharedAppleEventManager].currentAppleEvent;
    if (event && event.eventClass == kCoreEventClass && event.eventID == kAEQuitApplication) {
        trigger.quitAppleEvent = true;
        NSAppleEventDescriptor* reason = [event attributeDescriptorForKeyword:kAEQuitReason];
        if (reason) trigger.quitReason = reason.enumCodeValue;
    }
    const NSEventType type = NSApp.currentEvent.type;
    trigger.keyOrClick = type == NSEventTypeKeyDown || type == NSEventTypeLeftMouseUp;
    return trigger;
}

void watchReopen(std::function<void()> reopened) {
    if (!reopenHandler) reopenHandler = [[QMReopenHandler alloc] init];
    reopenHandler->reopened = std::move(reopened);
    [[NSAppleEventManager sharedAppleEventManager] setEventHandler:reopenHandler
                                                       andSelector:@selector(handleReopen:withReplyEvent:)
                                                     forEventClass:kCoreEventClass
                                                        andEventID:kAEReopenApplication];
}

bool launchAtLoginEnabled() { return SMAppService.mainAppService.status == SMAppServiceStatusEnabled; }

QString setLaunchAtLogin(bool enabled) {
    NSError* error = nil;
    const BOOL ok = enabled ? [SMAppService.mainAppService registerAndReturnError:&error]
                            : [SMAppService.mainAppService unregisterAndReturnError:&error];
    if (ok) return {};
    const char* reason = error.localizedDescription.UTF8String;
    return QString::fromUtf8(reason ? reason : "unknown error");
}

bool canOpenLanguageSettings() { return true; }

bool openLanguageSettings() {
    NSURL* url = [NSURL URLWithString:@(macLanguageSettingsURL)];
    return [NSWorkspace.sharedWorkspace openURL:url];
}

}  // namespace qm::app
