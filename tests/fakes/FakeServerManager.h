#pragma once

#include "Models/ServerError.h"
#include "Protocols/ServerManaging.h"
#include "fakes/Gate.h"

#include <QElapsedTimer>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <functional>
#include <optional>

// Records every call as text ("killServer(3000)", "startServer(web, npm run dev)", ...) and
// answers from the script below. Gates hold kills and starts until the test opens them.
class FakeServerManager : public ServerManaging
{
    Q_OBJECT
public:
    FakeServerManager() { clock.start(); }

    // Script.
    ServerStatus currentStatus = ServerStatus::unknown;
    int port = 0;
    QSet<int> listeningPorts;
    std::optional<QString> startFailure;
    // Ports that start answering at their n-th check (1 = the first).
    QMap<int, int> opensAtCheck;
    Gate* killGate = nullptr;
    Gate* startGate = nullptr;
    Gate* checkGate = nullptr;
    // Runs when a start returns successfully (e.g. to make the port answer).
    std::function<void(const Project&)> onStarted;
    // The port a successful start reports as learned from the server (and announces), instead
    // of the project's.
    std::optional<int> learnedPort;

    // Observations.
    QStringList calls;
    QElapsedTimer clock;
    qint64 startReturnedAt = -1;
    QMap<int, int> checks;

    void setStatus(ServerStatus status)
    {
        currentStatus = status;
        Q_EMIT statusChanged(status);
    }

    QStringList callsStartingWith(const QString& prefix) const
    {
        QStringList matching;
        for (const QString& call : calls) {
            if (call.startsWith(prefix)) {
                matching.append(call);
            }
        }
        return matching;
    }

    ServerStatus status() const override { return currentStatus; }
    int currentPort() const override { return port; }

    QCoro::Task<int> startServer(Project project, QString command) override
    {
        calls.append(QStringLiteral("startServer(%1, %2)").arg(project.name, command));
        co_await passGate(startGate);
        startReturnedAt = clock.elapsed();
        if (startFailure) {
            throw ServerError::failedToStart(*startFailure);
        }
        if (learnedPort) {
            port = *learnedPort;
            Q_EMIT portLearned(project, *learnedPort);
        }
        if (onStarted) {
            onStarted(project);
        }
        co_return learnedPort.value_or(project.port);
    }

    QCoro::Task<> killServer(int port) override
    {
        calls.append(QStringLiteral("killServer(%1)").arg(port));
        co_await passGate(killGate);
        calls.append(QStringLiteral("killServer(%1) done").arg(port));
    }

    void startPolling(int port) override
    {
        calls.append(QStringLiteral("startPolling(%1)").arg(port));
        this->port = port;
    }

    void updatePollingPort(int port) override
    {
        calls.append(QStringLiteral("updatePollingPort(%1)").arg(port));
        this->port = port;
    }

    QCoro::Task<bool> checkPort(int port) override
    {
        calls.append(QStringLiteral("checkPort(%1)").arg(port));
        const int checkNumber = ++checks[port];
        co_await passGate(checkGate);
        co_return listeningPorts.contains(port) ||
            (opensAtCheck.contains(port) && checkNumber >= opensAtCheck.value(port));
    }

    void invalidatePollingTimer() override
    {
        calls.append(QStringLiteral("invalidatePollingTimer"));
    }

    void refreshEnvironment() override { calls.append(QStringLiteral("refreshEnvironment")); }
};
