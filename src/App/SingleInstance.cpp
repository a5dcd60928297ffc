#include "App/SingleInstance.h"

#include "Utilities/Log.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTimer>

#include <unistd.h>

namespace {

constexpr int connectTimeoutMs = 1000;
constexpr int writeTimeoutMs = 2000;
// A client that sends nothing in time is dropped.
constexpr int requestTimeoutMs = 5000;

} // namespace

QString SingleInstance::defaultName()
{
    return QStringLiteral("wisp-instance-%1").arg(::getuid());
}

SingleInstance::SingleInstance(QString name, QObject* parent)
    : QObject(parent), name(std::move(name))
{}

SingleInstance::~SingleInstance()
{
    if (server) {
        server->close();
    }
}

SingleInstance::Role SingleInstance::start()
{
    if (askRunningInstance()) {
        return Role::secondary;
    }
    // Nobody answers, so a socket file still there was left by an instance that ended abruptly.
    if (QFileInfo::exists(socketPath())) {
        Log::line(
            QStringLiteral("⚠️ [WispApp] Removing a stale instance socket: %1").arg(name));
        QLocalServer::removeServer(name);
    }
    if (listen()) {
        return Role::primary;
    }
    // Another launch may have started listening meanwhile.
    if (server->serverError() == QAbstractSocket::AddressInUseError && askRunningInstance()) {
        return Role::secondary;
    }
    Log::line(QStringLiteral("⚠️ [WispApp] Cannot listen for other launches of wisp: %1")
                  .arg(server->errorString()));
    return Role::primary;
}

QString SingleInstance::socketPath() const
{
    // Where QLocalServer puts a socket given by name.
    return name.startsWith(QLatin1Char('/')) ? name : QDir(QDir::tempPath()).filePath(name);
}

bool SingleInstance::askRunningInstance()
{
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(connectTimeoutMs)) {
        return false;
    }
    socket.write(reopenRequest);
    if (!socket.waitForBytesWritten(writeTimeoutMs) && socket.bytesToWrite() > 0) {
        return false;
    }
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState) {
        socket.waitForDisconnected(writeTimeoutMs);
    }
    return true;
}

bool SingleInstance::listen()
{
    if (!server) {
        server = new QLocalServer(this);
        // Only this user may ask.
        server->setSocketOptions(QLocalServer::UserAccessOption);
        connect(server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnection);
    }
    return server->listen(name);
}

bool SingleInstance::isListening() const
{
    return server && server->isListening();
}

QString SingleInstance::serverPath() const
{
    return isListening() ? server->fullServerName() : QString();
}

void SingleInstance::acceptConnection()
{
    while (QLocalSocket* socket = server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequest(socket); });
        QTimer::singleShot(requestTimeoutMs, socket, [socket] { socket->abort(); });
        // Data may have come with the connection.
        readRequest(socket);
    }
}

void SingleInstance::readRequest(QLocalSocket* socket)
{
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine();
        if (line == reopenRequest) {
            Q_EMIT reopenRequested();
        }
    }
}
