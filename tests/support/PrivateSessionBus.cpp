#include "PrivateSessionBus.h"

#include "TestSupport.h"

#include <QDBusConnectionInterface>
#include <QStandardPaths>
#include <QUuid>

using namespace std::chrono_literals;

PrivateSessionBus::~PrivateSessionBus()
{
    stop();
}

QString PrivateSessionBus::missingTool()
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty()) {
        return QStringLiteral("dbus-daemon is not installed");
    }
    return QString();
}

bool PrivateSessionBus::start(QString* error)
{
    // A socket file in a folder of its own (some clients cannot reach abstract sockets), removed
    // with the folder.
    socketFolder = std::make_unique<QTemporaryDir>();
    if (!socketFolder->isValid()) {
        *error = QStringLiteral("no folder for the bus socket: ") + socketFolder->errorString();
        return false;
    }
    daemon = std::make_unique<QProcess>();
    daemon->setStandardErrorFile(QProcess::nullDevice());
    daemon->start(
        QStringLiteral("dbus-daemon"),
        {QStringLiteral("--session"), QStringLiteral("--nofork"),
         QStringLiteral("--address=unix:path=") + socketFolder->filePath(QStringLiteral("bus")),
         QStringLiteral("--print-address=1")});
    if (!daemon->waitForStarted(10000)) {
        *error = QStringLiteral("dbus-daemon did not start: ") + daemon->errorString();
        stop();
        return false;
    }
    const bool answered = TestSupport::waitUntil(
        [&] { return daemon->canReadLine() || daemon->state() != QProcess::Running; }, 30s);
    if (!answered || !daemon->canReadLine()) {
        *error = QStringLiteral("dbus-daemon printed no address");
        stop();
        return false;
    }
    busAddress = QString::fromUtf8(daemon->readLine()).trimmed();
    connectionName = QStringLiteral("wisp-test-bus-") + QUuid::createUuid().toString(QUuid::Id128);
    const QDBusConnection bus = QDBusConnection::connectToBus(busAddress, connectionName);
    if (!bus.isConnected()) {
        *error = QStringLiteral("cannot connect to the private bus: ") + bus.lastError().message();
        stop();
        return false;
    }
    return true;
}

void PrivateSessionBus::stop()
{
    if (!connectionName.isEmpty()) {
        QDBusConnection::disconnectFromBus(connectionName);
        connectionName.clear();
    }
    if (daemon && daemon->state() != QProcess::NotRunning) {
        daemon->terminate();
        if (!daemon->waitForFinished(5000)) {
            daemon->kill();
            daemon->waitForFinished(5000);
        }
    }
    daemon.reset();
    socketFolder.reset();
    busAddress.clear();
}

QDBusConnection PrivateSessionBus::connection() const
{
    return connectionName.isEmpty() ? QDBusConnection(QString()) : QDBusConnection(connectionName);
}

void PrivateSessionBus::addTo(QProcessEnvironment& environment) const
{
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
}

bool PrivateSessionBus::hasOwner(const QString& name) const
{
    const QDBusConnection bus = connection();
    return bus.isConnected() && bus.interface()->isServiceRegistered(name).value();
}
