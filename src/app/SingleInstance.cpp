#include "app/SingleInstance.h"

#include <QLocalSocket>

namespace qm::app {

SingleInstance::SingleInstance(QString socketPath, QObject* parent) : QObject(parent), path_(std::move(socketPath)) {
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::accept);
}

bool SingleInstance::handOver(const InstanceRequest& request, int timeoutMilliseconds) {
    QLocalSocket socket;
    socket.connectToServer(path_);
    if (!socket.waitForConnected(timeoutMilliseconds)) return false;
    socket.write(QByteArray::fromStdString(request.line() + "\n"));
    if (!socket.waitForBytesWritten(timeoutMilliseconds)) return false;
    // The running instance closes the connection once it has read the line.
    socket.waitForDisconnected(timeoutMilliseconds);
    return true;
}

bool SingleInstance::listen(QString* error) {
    // Only the owner may connect: requests can open windows.
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    if (server_.listen(path_)) return true;
    // Nobody answered handOver(), so whatever is at the path is a leftover.
    QLocalServer::removeServer(path_);
    if (server_.listen(path_)) return true;
    if (error) *error = server_.errorString();
    return false;
}

void SingleInstance::accept() {
    while (QLocalSocket* socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
            if (!socket->canReadLine()) {
                // A line longer than any request is not one of ours.
                if (socket->bytesAvailable() > 4096) socket->disconnectFromServer();
                return;
            }
            const std::string line = socket->readLine(4096).toStdString();
            socket->disconnectFromServer();
            if (auto request = InstanceRequest::fromLine(line)) emit requested(*request);
        });
    }
}

}  // namespace qm::app
