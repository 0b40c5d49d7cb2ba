#include "app/QtMainQueue.h"

#include <QThread>
#include <QTimer>
#include <cmath>

namespace qm::app {

namespace {

class QtRepeatingTimer : public RepeatingTimer {
public:
    QtRepeatingTimer(double interval, double leeway, std::function<void()> handler) {
        timer_.setTimerType(leeway >= 1.0 ? Qt::VeryCoarseTimer : leeway > 0 ? Qt::CoarseTimer : Qt::PreciseTimer);
        timer_.setInterval(static_cast<int>(std::lround(std::max(interval, 0.001) * 1000)));
        QObject::connect(&timer_, &QTimer::timeout, std::move(handler));
        timer_.start();
    }

private:
    QTimer timer_;
};

}  // namespace

QtMainQueue::QtMainQueue() = default;
QtMainQueue::~QtMainQueue() = default;

void QtMainQueue::post(std::function<void()> work) {
    QMetaObject::invokeMethod(&receiver_, std::move(work), Qt::QueuedConnection);
}

void QtMainQueue::sync(std::function<void()> work) {
    if (QThread::currentThread() == receiver_.thread()) {
        work();
        return;
    }
    QMetaObject::invokeMethod(&receiver_, std::move(work), Qt::BlockingQueuedConnection);
}

std::unique_ptr<RepeatingTimer> QtMainQueue::repeating(double interval, double leeway, std::function<void()> handler) {
    return std::make_unique<QtRepeatingTimer>(interval, leeway, std::move(handler));
}

}  // namespace qm::app
