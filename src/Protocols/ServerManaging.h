#pragma once

#include "Models/Project.h"
#include "Models/ServerStatus.h"
#include "Utilities/Cancellation.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>

// Starting, stopping and watching development servers.
class ServerManaging : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    ~ServerManaging() override = default;

    virtual ServerStatus status() const = 0;
    virtual int currentPort() const = 0;

    // The port the started server is to be found on: the project's, or the one learned from the
    // server itself when the project's stayed silent. Throws ServerError. A start whose `cancel`
    // is cancelled ends at its next check, stops what it launched, leaves `status` as it is and
    // throws CancellationError.
    virtual QCoro::Task<int> startServer(Project project, QString command,
                                         CancellationToken cancel = {}) = 0;
    // Runs the install command of the project's package manager in its folder, in the
    // environment its server gets. Throws ServerError when it cannot run or fails.
    virtual QCoro::Task<> installDependencies(Project project) = 0;
    // Never throws.
    virtual QCoro::Task<> killServer(int port) = 0;
    virtual void startPolling(int port) = 0;
    virtual void updatePollingPort(int port) = 0;
    // True when something listens on the TCP port.
    virtual QCoro::Task<bool> checkPort(int port) = 0;
    // Stops and drops the polling timer (application shut-down).
    virtual void invalidatePollingTimer() = 0;
    // Asks the user's login shell for its environment again, so that servers find tools
    // installed since it was last asked.
    virtual void refreshEnvironment() = 0;

Q_SIGNALS:
    // Emitted on every status update, also when the value did not change.
    void statusChanged(ServerStatus status);
    void currentPortChanged(int port);
    // A started server left the project's port silent and listens on `port` instead, which is
    // now watched.
    void portLearned(const Project& project, int port);
    // A server start or a dependency install of `project` is about to run `command`; its
    // output follows through outputRead.
    void outputStarted(const Project& project, const QString& command);
    // A chunk of what that command wrote, as it arrived (standard error when `isError`).
    void outputRead(const QString& text, bool isError);
};
