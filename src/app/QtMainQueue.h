// The main queue served by Qt's event loop: the Monitor, the history store's
// completions and every screen run here. Work posted from the sampler or history
// queues arrives as a queued call on the GUI thread.
#pragma once

#include <QObject>

#include "core/Queue.h"

namespace qm::app {

class QtMainQueue : public SerialQueue {
public:
    // Must be made on the GUI thread, after the QApplication.
    QtMainQueue();
    ~QtMainQueue() override;

    void post(std::function<void()> work) override;
    void sync(std::function<void()> work) override;
    // A QTimer on the GUI thread; a leeway of a second or more lets Qt coalesce it
    // with other timers (a coarse timer), shorter ones keep to the millisecond.
    std::unique_ptr<RepeatingTimer> repeating(double interval, double leeway, std::function<void()> handler) override;

private:
    QObject receiver_;
};

}  // namespace qm::app
