// The XPC connection to the privileged helper daemon "app.quillmere.helper". Built with
// ARC. Called on the sampler's queue, a plain thread without an autorelease pool of its
// own, so every entry point drains its own pool.
#import <Foundation/Foundation.h>
#import <ServiceManagement/ServiceManagement.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "processes/darwin/DarwinProcessSource.h"

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

// The connection and what its handlers report. The handlers hold it weakly: one that
// fires after the transport is gone finds nothing and does nothing.
struct ConnectionState {
    std::mutex mutex;
    NSXPCConnection* connection = nil;
    std::atomic<bool> lost{false};

    // Drops the connection whose handler fired, unless a newer one replaced it.
    void forget(NSXPCConnection* which) {
        NSXPCConnection* dropped = nil;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (connection != which) return;
            dropped = connection;
            connection = nil;
        }
        [dropped invalidate];
    }
};

class XPCHelperTransport : public HelperTransport {
public:
    XPCHelperTransport() : state_(std::make_shared<ConnectionState>()) {}
    ~XPCHelperTransport() override { invalidate(); }

    bool isEnabled() override {
        @autoreleasepool {
            SMAppService* service = [SMAppService daemonServiceWithPlistName:@"app.quillmere.helper.plist"];
            return service.status == SMAppServiceStatusEnabled;
        }
    }

    std::optional<std::vector<uint8_t>> request(double timeout) override {
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
            // A strong local: a handler on an XPC queue may drop the connection meanwhile.
            NSXPCConnection* connection = currentConnection();
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
        const bool answered =
            pending->signal.wait_for(lock, std::chrono::duration<double>(timeout), [&] { return pending->finished; });
        if (!answered || pending->failed) return std::nullopt;
        return std::move(pending->data);
    }

    void invalidate() override {
        @autoreleasepool {
            NSXPCConnection* connection = nil;
            {
                std::lock_guard<std::mutex> lock(state_->mutex);
                connection = state_->connection;
                state_->connection = nil;
            }
            if (!connection) return;
            // Our own invalidation is not a surprise: silence the handlers first.
            connection.invalidationHandler = nil;
            connection.interruptionHandler = nil;
            [connection invalidate];
        }
    }

    bool takeConnectionLost() override { return state_->lost.exchange(false); }

private:
    // The connection, made on first use (inside the caller's autorelease pool).
    NSXPCConnection* currentConnection() {
        std::lock_guard<std::mutex> lock(state_->mutex);
        if (state_->connection) return state_->connection;
        NSXPCConnection* connection = [[NSXPCConnection alloc] initWithMachServiceName:@"app.quillmere.helper"
                                                                               options:NSXPCConnectionPrivileged];
        connection.remoteObjectInterface = [NSXPCInterface interfaceWithProtocol:@protocol(QuillmereHelperProtocol)];
        // Interrupted or invalidated by the system between requests: drop it and let
        // the client back off. The block holds neither the transport nor (strongly)
        // the connection, which owns the block.
        std::weak_ptr<ConnectionState> weakState = state_;
        __weak NSXPCConnection* weakConnection = connection;
        void (^broken)(void) = ^{
          std::shared_ptr<ConnectionState> state = weakState.lock();
          if (!state) return;
          state->lost = true;
          state->forget(weakConnection);
        };
        connection.invalidationHandler = broken;
        connection.interruptionHandler = broken;
        [connection resume];
        state_->connection = connection;
        return connection;
    }

    std::shared_ptr<ConnectionState> state_;
};

}  // namespace

std::unique_ptr<HelperTransport> makeXPCHelperTransport() { return std::make_unique<XPCHelperTransport>(); }

}  // namespace qm
