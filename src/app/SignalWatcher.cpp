#include "app/SignalWatcher.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace qm::app {

namespace {

std::array<int, 2> pipeEnds{-1, -1};

void onSignal(int number) {
    const int saved = errno;
    const auto byte = static_cast<unsigned char>(number);
    // Async-signal-safe; a full pipe already holds a pending stop.
    [[maybe_unused]] ssize_t written = ::write(pipeEnds[1], &byte, 1);
    errno = saved;
}

}  // namespace

SignalWatcher::SignalWatcher(QObject* parent) : QObject(parent) {
    if (pipeEnds[0] < 0) {
        if (::pipe(pipeEnds.data()) != 0) return;
        for (int end : pipeEnds) {
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
            ::fcntl(end, F_SETFL, O_NONBLOCK);
        }
    }
    notifier_ = std::make_unique<QSocketNotifier>(pipeEnds[0], QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this] {
        unsigned char byte = 0;
        int last = 0;
        while (::read(pipeEnds[0], &byte, 1) == 1) last = byte;
        if (last) emit stopRequested(last);
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : {SIGTERM, SIGINT, SIGHUP}) sigaction(number, &action, nullptr);
}

SignalWatcher::~SignalWatcher() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (int number : {SIGTERM, SIGINT, SIGHUP}) sigaction(number, &action, nullptr);
}

}  // namespace qm::app
