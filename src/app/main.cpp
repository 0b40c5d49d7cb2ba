// quillmere-app: the desktop application. One instance per user: a second launch hands
// its request (--toggle, --show KEY, or just "open") to the running one and exits.
// The instance that holds the history's recorder lock records (minutes, events,
// alerts); otherwise a `quillmere record` service does, and this one only shows.
#include <unistd.h>

#include <QApplication>
#include <QIcon>
#include <QPixmap>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "app/AppContext.h"
#include "app/AppDelegate.h"
#include "app/DisplayCheck.h"
#include "app/QtMainQueue.h"
#include "app/SignalWatcher.h"
#include "app/SingleInstance.h"
#include "app/menubar/MenuBarRenderer.h"
#include "app/onboarding/OnboardingWindow.h"
#include "app/sections/MemoryPartsSeries.h"
#include "app/settings/SettingsWindow.h"
#include "core/Defaults.h"
#include "engine/Monitor.h"
#include "engine/Sampler.h"
#include "history/AlertCenter.h"
#include "history/EventDetector.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"
#include "history/RecorderLock.h"
#include "notify/PlatformNotifications.h"
#include "shell/InstanceRequest.h"
#include "shell/UIState.h"

namespace {

std::vector<std::string> ourArguments(const QStringList& arguments) {
    std::vector<std::string> args;
    for (qsizetype i = 1; i < arguments.size(); ++i) args.push_back(arguments[i].toStdString());
    return args;
}

std::string socketPath() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return qm::instanceSocketPath(runtime ? runtime : "", static_cast<unsigned>(::getuid()));
}

}  // namespace

int main(int argc, char** argv) {
    // Help and the version need no display.
    {
        std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
        const qm::LaunchArguments early = qm::parseLaunchArguments(args);
        if (early.help) {
            std::fputs(qm::launchUsage().c_str(), stdout);
            return std::fflush(stdout) == 0 ? 0 : 1;
        }
        if (early.version) {
            std::printf("quillmere-app %s\n", QUILLMERE_VERSION);
            return std::fflush(stdout) == 0 ? 0 : 1;
        }
    }
    if (auto problem = qm::app::displayUnreachable()) {
        std::fprintf(stderr, "Quillmere: %s\n", problem->c_str());
        return 1;
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName("Quillmere");
    QApplication::setApplicationVersion(QUILLMERE_VERSION);
    QApplication::setDesktopFileName("quillmere-app");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(QIcon(QPixmap::fromImage(qm::app::MenuBarRenderer::trayImage({}, false, 128))));

    const qm::LaunchArguments launch = qm::parseLaunchArguments(ourArguments(QApplication::arguments()));
    if (!launch.error.empty()) {
        std::fprintf(stderr, "quillmere-app: %s\n", launch.error.c_str());
        return 2;
    }

    qm::app::SingleInstance instance(QString::fromStdString(socketPath()));
    if (instance.handOver(launch.request)) return 0;
    QString listenError;
    if (!instance.listen(&listenError))
        std::fprintf(stderr, "Quillmere: cannot listen on %s (%s); --toggle will not reach this instance\n",
                     instance.socketPath().toLocal8Bit().constData(), listenError.toLocal8Bit().constData());

    // Who records: whoever holds the history's recorder lock.
    const std::string historyPath = qm::defaultHistoryPath();
    if (auto slash = historyPath.rfind('/'); slash != std::string::npos && slash > 0)
        qm::ensurePrivateDirectory(historyPath.substr(0, slash));
    qm::RecorderLock lock(historyPath);

    qm::app::QtMainQueue mainQueue;
    qm::HistoryStore history(historyPath, &mainQueue);
    qm::Sampler::Dependencies deps;
    if (lock.acquired()) {
        deps.history = &history;
        deps.detector = std::make_unique<qm::EventDetector>();
    }
    qm::UIState ui;
    qm::Monitor monitor(mainQueue, std::make_unique<qm::Sampler>(std::move(deps)), &history);
    // Another process records: its events reach this one's views through the history.
    monitor.followHistoryEvents(!lock.acquired());

    qm::app::AppContext context;
    context.monitor = &monitor;
    context.history = &history;
    context.defaults = &qm::Defaults::shared();
    context.ui = &ui;
    const qm::app::MemoryPartsSeries memoryParts(monitor);
    context.memoryParts = &memoryParts;
    context.recording = lock.acquired();
    if (!lock.acquired() && lock.holder()) qm::app::otherRecorderPid() = static_cast<int>(*lock.holder());

    qm::app::AppDelegate::Options options;
    options.version = QUILLMERE_VERSION;
    qm::app::AppDelegate delegate(context, std::move(options));
    qm::app::SignalWatcher signalWatcher;
    QObject::connect(&signalWatcher, &qm::app::SignalWatcher::stopRequested, &delegate,
                     [&delegate](int) { delegate.systemQuit(); });
    QObject::connect(&instance, &qm::app::SingleInstance::requested, &delegate,
                     [&delegate](const qm::InstanceRequest& request) { delegate.handle(request); });
    // Alerts belong to the recorder: only when this process records does it notify.
    std::unique_ptr<qm::AlertCenter> alerts;
    if (context.recording) {
        qm::AlertCenter::Hooks hooks;
        hooks.quitApp = qm::politeQuitHook();
        hooks.open = [&delegate](const std::optional<std::string>& key) {
            if (key)
                delegate.showGroup(*key);
            else
                delegate.openMainWindow();
        };
        alerts =
            std::make_unique<qm::AlertCenter>(qm::makePlatformNotificationSink(), mainQueue, hooks, context.defaults);
        monitor.onEvents = [&alerts](const std::vector<qm::TimelineEvent>& events) { alerts->deliver(events); };
        qm::app::OnboardingWindow::requestNotifications() = [&alerts] {
            alerts->requestPermission([](bool, const std::string&) {});
        };
    }

    delegate.launch(launch.request);
    const int code = QApplication::exec();

    monitor.onEvents = nullptr;  // the alert center goes first
    // Every real quit saves the minute in progress before the process ends.
    if (context.recording) {
        monitor.sampler().flushNow();
        history.waitUntilIdle();
    }
    return code;
}
