// The daemon and login item through ServiceManagement's SMAppService (macOS 13+).
#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include "core/Log.h"
#include "processes/HelperInstaller.h"

namespace qm {

namespace {
SMAppService* daemonService() { return [SMAppService daemonServiceWithPlistName:@(HelperInstaller::plistName)]; }
}  // namespace

HelperInstaller::State HelperInstaller::state() {
    @autoreleasepool {
        return stateFromStatus(static_cast<int64_t>(daemonService().status));
    }
}

HelperInstaller::State HelperInstaller::install() {
    @autoreleasepool {
        NSError* error = nil;
        const BOOL registered = [daemonService() registerAndReturnError:&error];
        const State now = state();
        if (!registered && now == State::requiresApproval) [SMAppService openSystemSettingsLoginItems];
        return now;
    }
}

std::string HelperInstaller::enableCommand() { return {}; }

void HelperInstaller::uninstall() {
    @autoreleasepool {
        NSError* error = nil;
        [daemonService() unregisterAndReturnError:&error];
    }
}

void LoginItem::set(bool enabled) {
    @autoreleasepool {
        NSError* error = nil;
        SMAppService* app = SMAppService.mainAppService;
        const BOOL done = enabled ? [app registerAndReturnError:&error] : [app unregisterAndReturnError:&error];
        if (!done)
            logLine(std::string("login item change failed: ") +
                    (error ? error.localizedDescription.UTF8String : "unknown error"));
    }
}

}  // namespace qm
