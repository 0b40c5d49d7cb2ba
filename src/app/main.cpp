// quillmere-app: the desktop application.
#include <QApplication>
#include <memory>

#include "app/AppContext.h"
#include "app/MainWindow.h"
#include "app/QtMainQueue.h"
#include "core/Defaults.h"
#include "core/Monitor.h"
#include "core/Sampler.h"
#include "history/HistoryFiles.h"
#include "history/HistoryStore.h"
#include "shell/UIState.h"

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("Quillmere");
    QApplication::setApplicationVersion(QUILLMERE_VERSION);
    QApplication::setQuitOnLastWindowClosed(false);

    qm::app::QtMainQueue mainQueue;
    qm::HistoryStore history(qm::defaultHistoryPath(), &mainQueue);
    qm::UIState ui;
    qm::Monitor monitor(mainQueue, std::make_unique<qm::Sampler>(qm::Sampler::Dependencies{}), &history);

    qm::app::AppContext context;
    context.monitor = &monitor;
    context.history = &history;
    context.defaults = &qm::Defaults::shared();
    context.ui = &ui;

    qm::app::MainWindow window(context);
    monitor.start();
    window.show();
    return QApplication::exec();
}
