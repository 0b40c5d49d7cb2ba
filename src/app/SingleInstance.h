// One desktop app per user. The first instance listens on a local socket; a later
// launch connects, sends its request (one line: "toggle", "show KEY", "open") and
// exits. A socket left behind by a crashed instance is taken over.
#pragma once

#include <QLocalServer>
#include <QObject>
#include <optional>

#include "shell/InstanceRequest.h"

namespace qm::app {

class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);

    // Hands `request` to a running instance; true when one took it.
    bool handOver(const InstanceRequest& request, int timeoutMilliseconds = 2000);
    // Starts listening (removing a stale socket). False when that fails, with the reason.
    bool listen(QString* error = nullptr);
    const QString& socketPath() const { return path_; }

signals:
    void requested(const qm::InstanceRequest& request);

private:
    void accept();

    QString path_;
    QLocalServer server_;
};

}  // namespace qm::app
