#pragma once

#include "Protocols/ServerManaging.h"
#include "Utilities/TurnQueue.h"

#include <QPointer>
#include <QProcessEnvironment>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>

class FolderAccess;
class QProcess;
class QTimer;
class ServerEnvironment;
class ShellEnvironment;

// Runs the selected project's development server, watches its port and stops whatever holds a
// port. Lives on the main thread; every wait suspends instead of blocking.
class ServerManager : public ServerManaging
{
    Q_OBJECT
public:
    static constexpr int pollingIntervalMs = 2000;
    static constexpr int startupAttempts = 10;
    static constexpr int startupAttemptIntervalMs = 500;
    static constexpr int terminateWaits = 10;
    static constexpr int terminateWaitMs = 100;
    static constexpr int politeKillWaitMs = 500;
    static constexpr int forcefulKillWaitMs = 300;
    // A child that is let go of (replaced by a new start, or left by a manager that goes away)
    // and ignores SIGTERM gets SIGKILL this much later.
    static constexpr int terminateGraceMs = 1000;
    // How long lsof and a kill script may run before they are killed: a stale network or FUSE
    // mount can hang lsof for ever.
    static constexpr std::chrono::milliseconds defaultToolDeadline{10'000};
    // How many of the last lines a server wrote a failed start reports.
    static constexpr int failureLines = 12;
    // How long a dependency install may run: a large project on a slow network takes minutes.
    static constexpr std::chrono::milliseconds defaultInstallDeadline{600'000};

    explicit ServerManager(std::shared_ptr<FolderAccess> folderAccess = nullptr,
                           QObject* parent = nullptr);
    // Stops the polling timer and asks a tracked child to terminate, without waiting for it.
    ~ServerManager() override;

    ServerStatus status() const override { return currentStatus; }
    int currentPort() const override { return watchedPort; }

    QCoro::Task<int> startServer(Project project, QString command,
                                 CancellationToken cancel = {}) override;
    QCoro::Task<> installDependencies(Project project) override;
    QCoro::Task<> killServer(int port) override;
    void startPolling(int port) override;
    void updatePollingPort(int port) override;
    QCoro::Task<bool> checkPort(int port) override;
    void invalidatePollingTimer() override;
    void refreshEnvironment() override;

    // The environment a server in `folder` gets (what an install command there should get too).
    // The first call of a run waits for the user's login shell.
    QCoro::Task<QProcessEnvironment> serverEnvironment(QString folder);
    // Where the login shell's environment comes from; the user's own login shell by default.
    void setShellEnvironment(std::shared_ptr<ShellEnvironment> shell);

    // The status update: checks `currentPort` and publishes the result, also when unchanged.
    // Updates never overlap: one asked for while another runs follows it. A polling tick that
    // finds one under way is skipped.
    QCoro::Task<> updateStatus();

    std::chrono::milliseconds installDeadline() const { return installLimit; }
    void setInstallDeadline(std::chrono::milliseconds value) { installLimit = value; }

    std::chrono::milliseconds toolDeadline() const { return deadline; }
    void setToolDeadline(std::chrono::milliseconds value) { deadline = value; }

    // Applies from the next startPolling.
    std::chrono::milliseconds pollingInterval() const { return interval; }
    void setPollingInterval(std::chrono::milliseconds value) { interval = value; }

    QTimer* pollingTimer() const { return timer; }
    // The child this manager launched and still tracks.
    bool hasRunningProcess() const;
    // Its process id, 0 when there is none.
    qint64 runningProcessId() const;

    // A command line split into arguments: white space separates, single or double quotes group
    // (the other kind inside stays literal), an unclosed quote runs to the end. No escapes, no
    // expansion, and an empty quoted string yields no argument.
    static QStringList parseCommand(const QString& command);

    // The arguments of the port query: TCP listeners on `port`, bare process ids.
    static QStringList portQueryArguments(int port);
    // The two port-kill shell scripts, with `lsofPath` as the lsof they run.
    static QString politeKillScript(int port, const QString& lsofPath);
    static QString forcefulKillScript(int port, const QString& lsofPath);

private:
    void setStatus(ServerStatus status);
    void setCurrentPort(int port);
    void childEnded(QProcess* process, qint64 pid);
    // A start given up by its caller: forgets its child and stops it with its process group.
    QCoro::Task<> abandonStart(QPointer<QProcess> child, qint64 pid);
    // Announces a new run's output; its number. Output of an earlier run that arrives later
    // (a replaced server's last words) is not published.
    quint64 beginOutput(const Project& project, const QString& command);
    void pollingTick();

    // Kills whatever listens on `port`: the polite script, then the forceful one if the port is
    // still in use. Never throws; every outcome is a log line.
    static QCoro::Task<> killProcessesOnPort(int port, std::chrono::milliseconds deadline);
    // The port check: the kernel's socket table read inside wisp, lsof where it cannot be read.
    static QCoro::Task<bool> portHasListener(int port, std::chrono::milliseconds deadline);
    static QCoro::Task<bool> lsofReportsListener(int port, std::chrono::milliseconds deadline);
    // Logs the status update's line and publishes its answer.
    void publishPoll(int port, bool running);

    std::shared_ptr<FolderAccess> folderAccess;
    std::shared_ptr<ServerEnvironment> environmentSource;
    ServerStatus currentStatus = ServerStatus::unknown;
    int watchedPort = 3000;
    QTimer* timer = nullptr;
    TurnQueue statusUpdates;
    std::chrono::milliseconds deadline = defaultToolDeadline;
    std::chrono::milliseconds installLimit = defaultInstallDeadline;
    std::chrono::milliseconds interval{pollingIntervalMs};
    // Not owned: a child's QProcess deletes itself once the child has exited, so that a child
    // that is let go of (or outlives the manager) is still reaped.
    QPointer<QProcess> runningProcess;
    qint64 runningPid = 0;
    quint64 outputRun = 0;
    // The last status update's line, kept: a poll that finds what the one before found reuses it.
    QString pollLine;
    int pollLinePort = 0;
    bool pollLineRunning = false;
};
