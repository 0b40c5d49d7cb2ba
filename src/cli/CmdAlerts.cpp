// quillmere alerts test: posts one sample notification the way the recorder posts
// its alerts, so a user can check that their desktop shows them. Exits 1 (after the
// one line saying why) when the notification could not be handed to the desktop.
#include <memory>

#include "cli/Command.h"
#include "cli/Output.h"
#include "history/AlertCenter.h"
#include "notify/PlatformNotifications.h"

namespace qm::cli::alerts_command {
namespace {

// Long enough for a desktop that starts its notification service on demand.
constexpr double postTimeout = 10.0;

void runTest() {
    TimelineEvent sample;
    sample.kind = EventKind::highCPU;
    sample.severity = 1;
    sample.title = "Quillmere notifications work";
    sample.detail =
        "This is how Quillmere tells you when an app runs away with the CPU, its memory keeps growing, memory "
        "pressure becomes high or your Mac gets hot.";
    auto sink = makePlatformNotificationSink();
    sink->registerCategory(AlertCenter::appEventCategory());
    // No app: a sample offers nothing to quit.
    sink->post(AlertCenter::content(sample, AlertCenter::randomIdentifier()));
    if (!sink->waitUntilDelivered(postTimeout)) exitWith(1);  // the sink has said why, in one line
    print(
        "Posted a sample notification. If none appeared, notifications for Quillmere may be turned off in your "
        "desktop's settings.\n");
}

RegisterCommand registration{"alerts",
                             [](CLI::App& app) {
    auto* alerts = app.add_subcommand("alerts", "Desktop notifications for serious events");
    alerts->require_subcommand(1);
    auto* test = alerts->add_subcommand("test", "Post one sample notification to check that the desktop shows it");
    test->callback([] { runTest(); });
                             }};

}  // namespace
}  // namespace qm::cli::alerts_command
