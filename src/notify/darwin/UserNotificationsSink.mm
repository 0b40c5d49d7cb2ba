// Notifications on macOS through UserNotifications: the category with its buttons is
// registered with the current notification center, each notification is an immediate
// request with its own identifier, and this sink is the center's delegate, handing
// every answer back. Built with ARC; the recorder calls from its own threads, so each
// entry point drains its own autorelease pool. The center needs an app bundle: a
// command-line program outside one gets one log line and no notifications.
#import <Foundation/Foundation.h>
#import <UserNotifications/UserNotifications.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

#include "core/Log.h"
#include "notify/PlatformNotifications.h"

namespace qm {

// What the delegate and the completion blocks share with the sink; outlives both.
struct UserNotificationsShared {
    std::mutex lock;
    std::condition_variable changed;
    NotificationSink::ResponseHandler handler;
    uint64_t posted = 0;
    uint64_t done = 0;
    bool lastDelivered = false;

    void finished(bool delivered) {
        std::lock_guard guard(lock);
        ++done;
        lastDelivered = delivered;
        changed.notify_all();
    }
};

namespace {

NSString* ns(const std::string& text) { return [NSString stringWithUTF8String:text.c_str()] ?: @""; }

std::string text(NSString* value) {
    const char* utf8 = [value UTF8String];
    return utf8 ? std::string(utf8) : std::string();
}

}  // namespace
}  // namespace qm

@interface QMNotificationDelegate : NSObject <UNUserNotificationCenterDelegate> {
@public
    std::shared_ptr<qm::UserNotificationsShared> shared;
}
@end

@implementation QMNotificationDelegate

- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler {
    (void)center;
    qm::NotificationResponse answer;
    answer.actionIdentifier = qm::text(response.actionIdentifier);
    NSDictionary* info = response.notification.request.content.userInfo;
    for (id key in info) {
        id value = info[key];
        if ([key isKindOfClass:[NSString class]] && [value isKindOfClass:[NSString class]])
            answer.userInfo[qm::text((NSString*)key)] = qm::text((NSString*)value);
    }
    qm::NotificationSink::ResponseHandler handler;
    {
        std::lock_guard guard(shared->lock);
        handler = shared->handler;
    }
    if (handler) handler(answer);
    completionHandler();
}

// Alerts show even while Quillmere is the frontmost app.
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:(void (^)(UNNotificationPresentationOptions options))completionHandler {
    (void)center;
    (void)notification;
    if (@available(macOS 11.0, *)) {
        completionHandler(UNNotificationPresentationOptionBanner | UNNotificationPresentationOptionList |
                          UNNotificationPresentationOptionSound);
    } else {
        completionHandler(UNNotificationPresentationOptionSound);
    }
}

@end

namespace qm {

namespace {

class UserNotificationsSink : public NotificationSink {
public:
    UserNotificationsSink() : shared_(std::make_shared<UserNotificationsShared>()) {
        // Without a bundle identifier the notification center refuses this process. The
        // recorder has one when it runs from inside the app bundle
        // (Quillmere.app/Contents/MacOS/quillmere, which the installed command starts).
        available_ = [[NSBundle mainBundle] bundleIdentifier] != nil;
        if (!available_) {
            logLine("notifications are off: run the quillmere inside Quillmere.app (Contents/MacOS/quillmere)");
            return;
        }
        delegate_ = [[QMNotificationDelegate alloc] init];
        delegate_->shared = shared_;
        [UNUserNotificationCenter currentNotificationCenter].delegate = delegate_;
    }

    ~UserNotificationsSink() override {
        if (!available_) return;
        UNUserNotificationCenter* center = [UNUserNotificationCenter currentNotificationCenter];
        if (center.delegate == delegate_) center.delegate = nil;
    }

    void registerCategory(const NotificationCategory& category) override {
        if (!available_) return;
        @autoreleasepool {
            NSMutableArray* actions = [NSMutableArray array];
            for (const auto& action : category.actions) {
                UNNotificationActionOptions options = UNNotificationActionOptionNone;
                if (action.destructive) options |= UNNotificationActionOptionDestructive;
                if (action.foreground) options |= UNNotificationActionOptionForeground;
                // The button titles are English source strings, translated by the bundle.
                NSString* title = [[NSBundle mainBundle] localizedStringForKey:ns(action.title)
                                                                         value:ns(action.title)
                                                                         table:nil];
                [actions addObject:[UNNotificationAction actionWithIdentifier:ns(action.identifier)
                                                                        title:title
                                                                      options:options]];
            }
            UNNotificationCategory* registered =
                [UNNotificationCategory categoryWithIdentifier:ns(category.identifier)
                                                       actions:actions
                                             intentIdentifiers:@[]
                                                       options:UNNotificationCategoryOptionNone];
            [[UNUserNotificationCenter currentNotificationCenter]
                setNotificationCategories:[NSSet setWithObject:registered]];
        }
    }

    void setResponseHandler(ResponseHandler handler) override {
        std::lock_guard guard(shared_->lock);
        shared_->handler = std::move(handler);
    }

    void post(const NotificationRequest& request) override {
        {
            std::lock_guard guard(shared_->lock);
            ++shared_->posted;
        }
        if (!available_) {
            shared_->finished(false);
            return;
        }
        @autoreleasepool {
            UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
            content.title = ns(request.title);
            content.body = ns(request.body);
            if (request.defaultSound) content.sound = [UNNotificationSound defaultSound];
            if (request.category) content.categoryIdentifier = ns(*request.category);
            NSMutableDictionary* info = [NSMutableDictionary dictionary];
            for (const auto& [key, value] : request.userInfo) info[ns(key)] = ns(value);
            content.userInfo = info;
            // No trigger: shown at once.
            UNNotificationRequest* notification = [UNNotificationRequest requestWithIdentifier:ns(request.identifier)
                                                                                       content:content
                                                                                       trigger:nil];
            std::shared_ptr<UserNotificationsShared> shared = shared_;
            [[UNUserNotificationCenter currentNotificationCenter] addNotificationRequest:notification
                                                                   withCompletionHandler:^(NSError* error) {
                                                                     shared->finished(error == nil);
                                                                   }];
        }
    }

    void requestPermission(std::function<void(bool granted, const std::string& error)> completion) override {
        if (!available_) {
            completion(false, "notifications need the Quillmere app");
            return;
        }
        auto callback = std::make_shared<std::function<void(bool, const std::string&)>>(std::move(completion));
        @autoreleasepool {
            [[UNUserNotificationCenter currentNotificationCenter]
                requestAuthorizationWithOptions:(UNAuthorizationOptionAlert | UNAuthorizationOptionSound)
                              completionHandler:^(BOOL granted, NSError* error) {
                                (*callback)(granted, error ? text(error.localizedDescription) : std::string());
                              }];
        }
    }

    bool waitUntilDelivered(double seconds) override {
        std::unique_lock guard(shared_->lock);
        shared_->changed.wait_for(guard, std::chrono::duration<double>(seconds),
                                  [this] { return shared_->done == shared_->posted; });
        return shared_->done == shared_->posted && shared_->lastDelivered;
    }

private:
    std::shared_ptr<UserNotificationsShared> shared_;
    QMNotificationDelegate* delegate_ = nil;
    bool available_ = false;
};

}  // namespace

std::unique_ptr<NotificationSink> makePlatformNotificationSink(const NotificationSinkOptions& /*options*/) {
    return std::make_unique<UserNotificationsSink>();
}

}  // namespace qm
