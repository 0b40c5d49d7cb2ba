// app.quillmere.helper: the read-only privileged helper on macOS. launchd starts it as
// root (registered through SMAppService with app.quillmere.helper.plist) when the app
// connects to the mach service "app.quillmere.helper". It answers each
// sampleProcessesWithReply: with the packed records of ProcessRecords.cpp. It
// changes nothing and quits nothing. Each request runs on an XPC queue in its own
// autorelease pool, so nothing piles up in a daemon that never exits.
#import <Foundation/Foundation.h>

#include <vector>

#include "helper/darwin/ProcessRecords.h"

// The same declaration as the app's: the selectors are the contract.
@protocol QuillmereHelperProtocol
- (void)sampleProcessesWithReply:(void (^)(NSData* records))reply;
- (void)protocolVersionWithReply:(void (^)(int64_t version))reply;
@end

namespace {
// Raised when the record or its meaning changes.
constexpr int64_t protocolVersion = 1;
}  // namespace

@interface QuillmereHelper : NSObject <QuillmereHelperProtocol, NSXPCListenerDelegate>
@end

@implementation QuillmereHelper

- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)connection {
    (void)listener;
    connection.exportedInterface = [NSXPCInterface interfaceWithProtocol:@protocol(QuillmereHelperProtocol)];
    connection.exportedObject = self;
    [connection resume];
    return YES;
}

- (void)sampleProcessesWithReply:(void (^)(NSData* records))reply {
    @autoreleasepool {
        const std::vector<uint8_t> records = qm::sampleAllProcessRecords();
        reply([NSData dataWithBytes:records.data() length:records.size()]);
    }
}

- (void)protocolVersionWithReply:(void (^)(int64_t version))reply {
    reply(protocolVersion);
}

@end

int main() {
    @autoreleasepool {
        QuillmereHelper* helper = [[QuillmereHelper alloc] init];
        NSXPCListener* listener = [[NSXPCListener alloc] initWithMachServiceName:@"app.quillmere.helper"];
        listener.delegate = helper;
        [listener resume];
        // Serves connections until launchd stops the daemon.
        [[NSRunLoop currentRunLoop] run];
    }
    return 0;
}
