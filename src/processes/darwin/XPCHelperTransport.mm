// The XPC connection to the privileged helper daemon "app.quillmere.helper".
#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "processes/darwin/DarwinProcessSource.h"
#include "processes/darwin/ObjCMemory.h"

@protocol QuillmereHelperProtocol
- (void)sampleProcessesWithReply:(void (^)(NSData* records))reply;
- (void)protocolVersionWithReply:(void (^)(int64_t version))reply;
@end

namespace qm {

namespace {

// What one request's reply and error handlers hand back to the waiting sampler queue.
// Shared, so a reply that arrives after the time-out writes into live memory.
struct PendingReply {
    std::mutex mutex;
    std::condition_variable signal;
    bool finished = false;
    bool failed = false;
    std::vector<uint8_t> data;
};

class XPCHelperTransport : public HelperTransport {
public:
    ~XPCHelperTransport() override { invalidate(); }

    bool isEnabled() override {
        if (@available(macOS 13.0, *)) {
            SMAppService* service = [SMAppService daemonServiceWithPlistName:@"app.quillmere.helper.plist"];
            return service.status == SMAppServiceStatusEnabled;
        }
        return false;
    }

    std::optional<std::vector<uint8_t>> request(double timeout) override {
        // Held for the whole request: a handler on an XPC queue may drop the connection.
        Held held{currentConnection()};
        NSXPCConnection* connection = held.connection;
        auto pending = std::make_shared<PendingReply>();
        auto finish = [pending](bool failed, NSData* data) {
            std::lock_guard<std::mutex> lock(pending->mutex);
            if (pending->finished) return;
            pending->finished = true;
            pending->failed = failed || !data;
            if (data) {
                const auto* bytes = static_cast<const uint8_t*>(data.bytes);
                pending->data.assign(bytes, bytes + data.length);
            }
            pending->signal.notify_all();
        };
        @autoreleasepool {
            id proxy = [connection remoteObjectProxyWithErrorHandler:^(NSError* error) {
              (void)error;
              finish(true, nil);
            }];
            if (!proxy) return std::nullopt;  // the client drops the connection
            [(id<QuillmereHelperProtocol>)proxy sampleProcessesWithReply:^(NSData* records) {
              finish(false, records);
            }];
        }
        std::unique_lock<std::mutex> lock(pending->mutex);
        bool answered =
            pending->signal.wait_for(lock, std::chrono::duration<double>(timeout), [&] { return pending->finished; });
        if (!answered || pending->failed) return std::nullopt;
        return std::move(pending->data);
    }

    void invalidate() override {
        NSXPCConnection* connection = nil;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            connection = connection_;
            connection_ = nil;
        }
        if (!connection) return;
        // Our own invalidation is not a surprise: silence the handlers first.
        connection.invalidationHandler = nil;
        connection.interruptionHandler = nil;
        [connection invalidate];
        QM_OBJC_RELEASE(connection);
    }

    bool takeConnectionLost() override { return lost_.exchange(false); }

private:
    struct Held {
        NSXPCConnection* connection;
        ~Held() { QM_OBJC_RELEASE(connection); }
    };

    // The connection, made on first use, retained for the caller.
    NSXPCConnection* currentConnection() {
        std::lock_guard<std::mutex> lock(mutex_);
        if (connection_) return QM_OBJC_RETAIN(connection_);
        NSXPCConnection* connection = [[NSXPCConnection alloc] initWithMachServiceName:@"app.quillmere.helper"
                                                                               options:NSXPCConnectionPrivileged];
        connection.remoteObjectInterface = [NSXPCInterface interfaceWithProtocol:@protocol(QuillmereHelperProtocol)];
        // Interrupted or invalidated by the system between requests: drop it and let
        // the client back off.
        XPCHelperTransport* transport = this;
        void* which = (__bridge void*)connection;  // identity only: no retain cycle
        void (^broken)(void) = ^{
          transport->lost_ = true;
          transport->forget(which);
        };
        connection.invalidationHandler = broken;
        connection.interruptionHandler = broken;
        [connection resume];
        connection_ = connection;
        return QM_OBJC_RETAIN(connection_);
    }

    // Drops the connection whose handler fired, unless a newer one replaced it.
    void forget(void* which) {
        NSXPCConnection* connection = nil;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            if ((__bridge void*)connection_ != which) return;
            connection = connection_;
            connection_ = nil;
        }
        [connection invalidate];
        QM_OBJC_RELEASE(connection);
    }

    std::mutex mutex_;
    NSXPCConnection* connection_ = nil;
    std::atomic<bool> lost_{false};
};

}  // namespace

std::unique_ptr<HelperTransport> makeXPCHelperTransport() { return std::make_unique<XPCHelperTransport>(); }

}  // namespace qm
