// Made-up snapshots and history for the section tests, and a wait that serves Qt's
// event loop (history answers arrive as queued calls).
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <functional>
#include <string>
#include <vector>

#include "core/Snapshot.h"

namespace qm::app::test {

inline ProcessSample process(int32_t pid, std::string name, double cpu, uint64_t memory, uint32_t uid = 1000) {
    ProcessSample p;
    p.pid = pid;
    p.name = std::move(name);
    p.cpu = cpu;
    p.memory = memory;
    p.uid = uid;
    return p;
}

inline AppGroup group(std::string id, std::string name, ProcessKind kind, std::vector<ProcessSample> processes) {
    AppGroup g;
    g.id = std::move(id);
    g.name = std::move(name);
    g.kind = kind;
    for (const auto& p : processes) {
        g.cpu += p.cpu;
        g.memory += p.memory;
    }
    g.processes = std::move(processes);
    return g;
}

// Serves the event loop until `done` or about `limitMs` milliseconds have passed.
inline bool waitFor(const std::function<bool()>& done, qint64 limitMs = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > limitMs) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

}  // namespace qm::app::test

#include "history/HistoryStore.h"

namespace qm::app::test {

// Minutes of made-up history ending at `end` (exclusive): a day's rhythm in the CPU,
// memory and power figures, a few apps a minute, and an event every few hours.
inline void fillHistory(HistoryStore& store, int64_t end, int64_t days, int appsPerMinute = 6) {
    static const char* names[] = {"Firefox",     "Slack", "Code",     "Thunderbird",        "Terminal",
                                  "gnome-shell", "Xorg",  "pipewire", "tracker-miner-fs-3", "dockerd"};
    SystemMinute sys;
    std::vector<AppMinute> apps;
    const int64_t start = end - days * 86400;
    for (int64_t ts = start - start % 60 + 60; ts < end; ts += 60) {
        const int64_t n = ts / 60;
        const double hour = static_cast<double>(ts % 86400) / 3600.0;
        const double busy = hour > 8 && hour < 19 ? 1.0 : 0.3;
        sys = SystemMinute{};
        sys.ts = ts;
        sys.cpu = busy * (12 + static_cast<double>(n * 7919 % 600) / 10.0);
        sys.memUsed = (6 + busy * 4) * 1e9 + static_cast<double>(n % 97) * 1e7;
        sys.memTotal = 16e9;
        sys.pressure = 30 + static_cast<double>(n % 40);
        sys.pressureLevel = n % 500 == 0 ? 2 : 1;
        sys.swap = static_cast<double>(n % 300) * 1e6;
        sys.power = 4 + busy * 12 + static_cast<double>(n % 10) * 0.3;
        sys.socTemp = 42 + busy * 15 + static_cast<double>(n % 7);
        sys.netRx = 12000 + static_cast<double>(n % 5000);
        sys.netTx = 3000 + static_cast<double>(n % 700);
        sys.diskRead = 40000;
        sys.diskWrite = 80000;
        apps.clear();
        for (int k = 0; k < appsPerMinute; ++k) {
            const auto j = static_cast<size_t>((n + k * 3) % 10);
            const double weight = 10.0 - static_cast<double>(j);  // Firefox the busiest, dockerd the least
            apps.push_back({ts, "proc:" + std::string(names[j]), names[j],
                            busy * weight * 4 + static_cast<double>(n % 5), 2e8 + weight * 1e8, busy * weight * 0.3,
                            1000.0 * weight});
        }
        store.write(sys, apps);
        if (n % 240 == 7) {
            TimelineEvent e;
            e.date = static_cast<Date>(ts + 20);
            e.kind = EventKind::highCPU;
            e.severity = n % 480 == 7 ? 2 : 1;
            e.title = "Firefox is using a lot of CPU";
            e.detail = "Above 80% for 2 minutes.";
            e.appKey = "proc:Firefox";
            e.appName = "Firefox";
            store.write(e);
        }
    }
    store.waitUntilIdle();
}

}  // namespace qm::app::test
