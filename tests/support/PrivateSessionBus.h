#pragma once

#include <QDBusConnection>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

#include <memory>

// A D-Bus session bus of one test's own (dbus-daemon), apart from the desktop's and from other
// test runs, with a connection of this process to it.
class PrivateSessionBus
{
public:
    PrivateSessionBus() = default;
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    bool start(QString* error);
    void stop();

    const QString& address() const { return busAddress; }
    // This process's connection; disconnected until start succeeds.
    QDBusConnection connection() const;
    // Points a child process at this bus.
    void addTo(QProcessEnvironment& environment) const;
    // Whether `name` has an owner on this bus.
    bool hasOwner(const QString& name) const;

    // A reason when dbus-daemon is missing.
    static QString missingTool();

private:
    std::unique_ptr<QTemporaryDir> socketFolder;
    std::unique_ptr<QProcess> daemon;
    QString busAddress;
    QString connectionName;
};
