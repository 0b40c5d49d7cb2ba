#include "notify/PlatformNotifications.h"

#include "notify/linux/FreedesktopNotifications.h"

namespace qm {

std::unique_ptr<NotificationSink> makePlatformNotificationSink(const NotificationSinkOptions& options) {
    FreedesktopNotifications::Options sinkOptions;
    sinkOptions.busAddress = options.busAddress;
    return std::make_unique<FreedesktopNotifications>(sinkOptions);
}

}  // namespace qm
