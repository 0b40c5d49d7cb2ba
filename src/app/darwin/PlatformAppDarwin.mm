// The Mac: the activation policy decides the Dock icon, the main app's login item is
// SMAppService.mainApp, and the language is set per app in Language & Region.
#import <AppKit/AppKit.h>
#import <ServiceManagement/ServiceManagement.h>

#include "app/PlatformApp.h"
#include "shell/SettingsText.h"

namespace qm::app {

void applyActivationPolicy(ActivationPolicy policy) {
    [NSApp setActivationPolicy:policy == ActivationPolicy::regular ? NSApplicationActivationPolicyRegular
                                                                   : NSApplicationActivationPolicyAccessory];
}

bool activationPolicyIsRegular() { return NSApp.activationPolicy == NSApplicationActivationPolicyRegular; }

bool launchAtLoginEnabled() { return SMAppService.mainAppService.status == SMAppServiceStatusEnabled; }

QString setLaunchAtLogin(bool enabled) {
    NSError* error = nil;
    const BOOL ok = enabled ? [SMAppService.mainAppService registerAndReturnError:&error]
                            : [SMAppService.mainAppService unregisterAndReturnError:&error];
    if (ok) return {};
    return QString::fromNSString(error.localizedDescription ?: @"unknown error");
}

bool canOpenLanguageSettings() { return true; }

bool openLanguageSettings() {
    NSURL* url = [NSURL URLWithString:@(macLanguageSettingsURL)];
    return [NSWorkspace.sharedWorkspace openURL:url];
}

}  // namespace qm::app
