// SIGTERM, SIGINT and SIGHUP (log-out, shutdown, `kill`, Ctrl-C in a terminal) end
// the app for real, through the event loop: the handler only writes a byte to a pipe,
// and a QSocketNotifier turns that byte into the `stopRequested` signal on the GUI
// thread, where the partial minute is saved before exit.
#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <memory>

namespace qm::app {

class SignalWatcher : public QObject {
    Q_OBJECT
public:
    explicit SignalWatcher(QObject* parent = nullptr);
    ~SignalWatcher() override;

signals:
    void stopRequested(int signal);

private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace qm::app
