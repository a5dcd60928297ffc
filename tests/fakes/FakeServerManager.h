#pragma once

#include "Models/ServerError.h"
#include "Protocols/ServerManaging.h"
#include "fakes/Gate.h"

#include <QElapsedTimer>
#include <QMap>
#include <QSet>
#include <QStringList>

#include <algorithm>
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
    // The last lines a failing start reports.
    QStringList startFailureLines;
    std::optional<QString> installFailure;
    QStringList installFailureLines;
    Gate* installGate = nullptr;
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

    // Whether a start whose token is cancelled ends at once (as a real one does at its next
    // check), or runs to its end as if it had not noticed.
    bool startsHonourCancellation = true;

    // Observations.
    QStringList calls;
    // Starts, installs and kills under way now, and the most that ever were at once.
    int operationsInFlight = 0;
    int mostOperationsInFlight = 0;
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

    QCoro::Task<int> startServer(Project project, QString command,
                                 CancellationToken cancel = {}) override
    {
        calls.append(QStringLiteral("startServer(%1, %2)").arg(project.name, command));
        const Operation operation(*this);
        if (startGate && startsHonourCancellation) {
            co_await passGateUnlessCancelled(startGate, cancel);
        } else {
            co_await passGate(startGate);
        }
        // As a real start does at its next check: stops what it launched and reports nothing.
        if (startsHonourCancellation && cancel.isCancelled()) {
            calls.append(QStringLiteral("startServer(%1) cancelled").arg(project.name));
            throw CancellationError();
        }
        startReturnedAt = clock.elapsed();
        if (startFailure) {
            throw ServerError::failedToStart(*startFailure, startFailureLines);
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

    QCoro::Task<> installDependencies(Project project) override
    {
        calls.append(QStringLiteral("installDependencies(%1)").arg(project.name));
        const Operation operation(*this);
        co_await passGate(installGate);
        if (installFailure) {
            throw ServerError::failedToStart(*installFailure, installFailureLines);
        }
    }

    QCoro::Task<> killServer(int port) override
    {
        calls.append(QStringLiteral("killServer(%1)").arg(port));
        const Operation operation(*this);
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

private:
    // Counts a start, install or kill for as long as it runs.
    class Operation
    {
    public:
        explicit Operation(FakeServerManager& manager) : manager(manager)
        {
            ++manager.operationsInFlight;
            manager.mostOperationsInFlight =
                std::max(manager.mostOperationsInFlight, manager.operationsInFlight);
        }
        ~Operation() { --manager.operationsInFlight; }
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;

    private:
        FakeServerManager& manager;
    };
};
