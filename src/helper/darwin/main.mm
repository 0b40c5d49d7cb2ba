// app.quillmere.helper: the read-only privileged helper on macOS. launchd starts it as
// root (registered through SMAppService with app.quillmere.helper.plist) when the app
// connects to the mach service "app.quillmere.helper". It answers each
// sampleProcessesWithReply: with the packed 64-byte records of every process it can
// read through proc_pid_rusage, in the units of the resource-usage record itself.
// It changes nothing and quits nothing.
#import <Foundation/Foundation.h>

#include <libproc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "processes/RawProcRecord.h"

// The same declaration as the app's: the selectors are the contract.
@protocol QuillmereHelperProtocol
- (void)sampleProcessesWithReply:(void (^)(NSData* records))reply;
- (void)protocolVersionWithReply:(void (^)(int64_t version))reply;
@end

namespace {

// Raised when the record or its meaning changes.
constexpr int64_t protocolVersion = 1;

std::vector<uint8_t> sampleAll() {
    std::vector<uint8_t> out;
    // The count can grow between the two calls: leave room for newcomers.
    int count = proc_listallpids(nullptr, 0);
    if (count <= 0) return out;
    std::vector<pid_t> pids(static_cast<size_t>(count) + 256);
    count = proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
    if (count <= 0) return out;
    pids.resize(std::min(pids.size(), static_cast<size_t>(count)));
    out.reserve(pids.size() * qm::RawProcRecord::size);
    for (pid_t pid : pids) {
        struct rusage_info_v6 info;
        std::memset(&info, 0, sizeof info);
        // A process that exited since the listing simply has no record.
        if (proc_pid_rusage(pid, RUSAGE_INFO_V6, reinterpret_cast<rusage_info_t*>(&info)) != 0) continue;
        qm::RawProcRecord record;
        record.pid = pid;
        record.userTime = info.ri_user_time;
        record.systemTime = info.ri_system_time;
        record.footprint = info.ri_phys_footprint;
        record.energy = info.ri_energy_nj;
        record.diskRead = info.ri_diskio_bytesread;
        record.diskWrite = info.ri_diskio_byteswritten;
        record.wakeups = info.ri_pkg_idle_wkups + info.ri_interrupt_wkups;
        record.packInto(out);
    }
    return out;
}

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
    std::vector<uint8_t> records = sampleAll();
    reply([NSData dataWithBytes:records.data() length:records.size()]);
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
