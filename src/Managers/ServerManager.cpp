#include "Managers/ServerManager.h"

#include "Managers/PortLearner.h"
#include "Managers/ServerEnvironment.h"
#include "Managers/ServerLogFolder.h"
#include "Managers/ServerOutput.h"
#include "Models/ServerError.h"
#include "Platform/FolderAccess.h"
#include "Platform/ListeningPorts.h"
#include "Platform/ShellEnvironment.h"
#include "Platform/SystemTools.h"
#include "Utilities/Cancellation.h"
#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"
#include "Utilities/NodeDependencies.h"
#include "Utilities/OutputLines.h"

#include <QCoro/QCoroTimer>
#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringDecoder>
#include <QTimer>

#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <unistd.h>

namespace {

// Ends security-scoped access to the project folder on every way out of a start.
class FolderAccessScope
{
public:
    FolderAccessScope(std::shared_ptr<FolderAccess> access, QUrl url)
        : access(std::move(access))
        , url(std::move(url))
        , granted(this->access->startAccessing(this->url))
    {}
    ~FolderAccessScope()
    {
        if (granted) {
            access->stopAccessing(url);
        }
    }
    FolderAccessScope(const FolderAccessScope&) = delete;
    FolderAccessScope& operator=(const FolderAccessScope&) = delete;

private:
    std::shared_ptr<FolderAccess> access;
    QUrl url;
    bool granted;
};

bool isRunning(const QPointer<QProcess>& process)
{
    return process && process->state() != QProcess::NotRunning;
}

// Strict UTF-8 (a sequence cut off at the end is invalid too): output that does not decode
// counts as empty.
QString decodeOutput(const QByteArray& data)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(data);
    return decoder.hasError() ? QString() : text;
}

// Children never read from wisp; an inherited pipe or terminal would only tie them to it.
void detachInput(QProcess& process)
{
    process.setStandardInputFile(QProcess::nullDevice());
}

// "10", "0.25": a deadline in seconds as the timeout lines give it.
QString inSeconds(std::chrono::milliseconds deadline)
{
    return QString::number(static_cast<double>(deadline.count()) / 1000.0);
}

// A server leads a process group of its own (its session), whose id is its pid: signalled as
// the group, a wrapper (npm) and the server it started go together.
void signalGroup(qint64 group, int signal)
{
    if (group > 1) {
        ::kill(static_cast<pid_t>(-group), signal);
    }
}

// Whether any process of the group is still there.
bool groupExists(qint64 group)
{
    return group > 1 && ::kill(static_cast<pid_t>(-group), 0) == 0;
}

// Asks a child that is let go of to end, with its process group, and makes sure they do:
// SIGKILL follows a second later if any of them ignored SIGTERM, so that the child is reaped
// and its QProcess, output files and watcher go away, and nothing it started is left behind
// (also when the child itself has already ended).
void terminateThenKill(QProcess* process, qint64 pid)
{
    signalGroup(pid, SIGTERM);
    const QPointer<QProcess> child(process);
    // No context object: the QProcess goes away as soon as the child has ended.
    QTimer::singleShot(std::chrono::milliseconds(ServerManager::terminateGraceMs), [child, pid] {
        if (isRunning(child) || groupExists(pid)) {
            Log::line(
                QStringLiteral("⚠️ [ServerManager] Process %1 ignored SIGTERM, sending SIGKILL")
                    .arg(pid));
            signalGroup(pid, SIGKILL);
        }
    });
}

// Runs a port-kill script through the shell and waits for it, at most `deadline`. The polite
// script's output is logged; the forceful one's is not captured and goes to wisp's own streams.
// False, after the log line, when the shell cannot be launched or does not end in time.
QCoro::Task<bool> runKillScript(int port, QString script, bool logOutput,
                                std::chrono::milliseconds deadline)
{
    const ChildProcess::Owned process = ChildProcess::create();
    QProcess& shell = *process;
    shell.setProcessChannelMode(logOutput ? QProcess::MergedChannels : QProcess::ForwardedChannels);
    detachInput(shell);
    // A group of its own, so that a deadline also ends the lsof it runs.
    ChildProcess::leadOwnProcessGroup(shell);
    shell.setProgram(SystemTools::shell());
    shell.setArguments({QStringLiteral("-c"), script});
    const bool started = co_await ChildProcess::start(&shell);
    if (!started) {
        Log::line(QStringLiteral("❌ [ServerManager] Failed to kill process on port %1: %2")
                      .arg(port)
                      .arg(shell.errorString()));
        co_return false;
    }
    const bool finished = co_await ChildProcess::waitForExit(&shell, deadline);
    if (!finished) {
        Log::line(
            QStringLiteral("⚠️ [ServerManager] Kill script timed out after %1 s for port %2")
                .arg(inSeconds(deadline))
                .arg(port));
        co_return false;
    }
    if (logOutput) {
        const QString output = decodeOutput(shell.readAll());
        if (!output.isEmpty()) {
            Log::line(QStringLiteral("🛑 [ServerManager] Kill output: %1").arg(output.trimmed()));
        }
    }
    co_return true;
}

// Ends a child and its process group: SIGTERM, up to a second for them to end, then SIGKILL
// to whatever of the group is left.
QCoro::Task<> stopChild(QPointer<QProcess> child, qint64 pid)
{
    signalGroup(pid, SIGTERM);
    for (int wait = 0;
         wait < ServerManager::terminateWaits && (isRunning(child) || groupExists(pid)); ++wait) {
        co_await QCoro::sleepFor(std::chrono::milliseconds(ServerManager::terminateWaitMs));
    }
    if (isRunning(child) || groupExists(pid)) {
        Log::line(QStringLiteral("⚠️ [ServerManager] Process still running, sending SIGKILL"));
        signalGroup(pid, SIGKILL);
    }
}

QString killScriptHead(int port, const QString& lsofPath)
{
    // Listeners only: a browser or an editor with a connection open to the server shares the
    // port too, and must not be signalled with its whole process group.
    QString options;
    for (const QString& option : SystemTools::lsofOptions()) {
        options += QLatin1Char(' ') + option;
    }
    return QStringLiteral("    PIDS=$(") + lsofPath + options + QStringLiteral(" -ti:") +
           QString::number(port) + QStringLiteral(" -sTCP:LISTEN 2>/dev/null)\n");
}

} // namespace

ServerManager::ServerManager(std::shared_ptr<FolderAccess> access, QObject* parent)
    : ServerManaging(parent)
    , folderAccess(access ? std::move(access) : FolderAccess::makeSystemFolderAccess())
    , environmentSource(
          std::make_shared<ServerEnvironment>(ShellEnvironment::makeLoginShellEnvironment()))
{
    new ServerLogFolder(this);
}

ServerManager::~ServerManager()
{
    invalidatePollingTimer();
    // No wait: the QProcess outlives the manager, reaps the child and then deletes itself.
    if (isRunning(runningProcess)) {
        terminateThenKill(runningProcess, runningPid);
    }
}

bool ServerManager::hasRunningProcess() const
{
    return !runningProcess.isNull();
}

qint64 ServerManager::runningProcessId() const
{
    return runningProcess ? runningPid : 0;
}

void ServerManager::setStatus(ServerStatus status)
{
    currentStatus = status;
    Q_EMIT statusChanged(currentStatus);
}

void ServerManager::setCurrentPort(int port)
{
    watchedPort = port;
    Q_EMIT currentPortChanged(watchedPort);
}

// --- Launch -------------------------------------------------------------------------------------

QCoro::Task<int> ServerManager::startServer(Project project, QString command,
                                            CancellationToken cancel)
{
    const QPointer<ServerManager> self(this);
    const std::chrono::milliseconds toolDeadline = deadline;
    setStatus(ServerStatus::starting);

    const int port = project.port;
    co_await killProcessesOnPort(port, toolDeadline);
    if (!self) {
        co_return port;
    }
    // Given up before anything was launched: nothing of this start is left to stop.
    if (cancel.isCancelled()) {
        Log::line(QStringLiteral("⏹️ [ServerManager] Start cancelled before launch"));
        throw CancellationError();
    }

    if (runningProcess) {
        if (isRunning(runningProcess)) {
            terminateThenKill(runningProcess, runningPid);
        }
        runningProcess = nullptr;
        runningPid = 0;
    }
    setCurrentPort(port);

    const FolderAccessScope folderScope(folderAccess, project.path);

    const QStringList arguments = parseCommand(command);
    if (arguments.isEmpty()) {
        Log::line(QStringLiteral("❌ [ServerManager] Empty command"));
        setStatus(ServerStatus::stopped);
        throw ServerError::failedToStart(QStringLiteral("Empty command"));
    }

    const QString folderPath = QDir::cleanPath(project.folderPath());
    Log::line(QStringLiteral("🚀 [ServerManager] Starting server: %1 in %2")
                  .arg(arguments.join(QLatin1Char(' ')), folderPath));

    const QProcessEnvironment environment = co_await serverEnvironment(folderPath);
    if (!self) {
        co_return port;
    }

    // No shell: env looks the first word up on the server's search path and turns leading
    // NAME=value words into environment assignments.
    QPointer<QProcess> child = new QProcess();
    child->setProgram(SystemTools::env());
    child->setArguments(arguments);
    child->setWorkingDirectory(folderPath);
    child->setProcessEnvironment(environment);
    detachInput(*child);
    auto* output = new ServerOutput(port, child);
    const quint64 run = beginOutput(project, arguments.join(QLatin1Char(' ')));
    // The last lines of this start, for the error when the server ends before it is up; and
    // every chunk for whoever shows the output.
    const auto lastLines = std::make_shared<OutputLines>(failureLines, false);
    connect(output, &ServerOutput::textRead, output,
            [self, lastLines, run](const QString& text, ServerLogFolder::Channel channel) {
                const bool isError = channel == ServerLogFolder::Channel::standardError;
                lastLines->append(text, isError);
                if (self && self->outputRun == run) {
                    Q_EMIT self->outputRead(text, isError);
                }
            });
    // What the server prints and where its own processes listen tell where it really answers
    // when the project's port stays silent.
    const auto learner = std::make_shared<PortLearner>(port);
    connect(output, &ServerOutput::chunkRead, output,
            [learner](const QString& text) { learner->readOutput(text); });
    // A session of its own: the kill scripts signal whole process groups, and the server's
    // group must never be wisp's. It also keeps the server out of wisp's terminal signals.
    child->setChildProcessModifier([] { ::setsid(); });

    // The termination handler, installed before the launch so that no exit can slip past it:
    // mirrors the rest of the output, logs the exit and lets the manager (if it still exists)
    // forget the child; then the QProcess goes away. The PID is kept from the start, since a
    // finished QProcess no longer knows it.
    const auto childPid = std::make_shared<qint64>(0);
    connect(child, &QProcess::started, child,
            [process = child.get(), childPid] { *childPid = process->processId(); });
    connect(child, &QProcess::finished, child,
            [self, process = child.get(), output, childPid](int exitCode, QProcess::ExitStatus) {
                const qint64 pid = *childPid;
                output->finish();
                Log::line(QStringLiteral(
                              "⚠️ [ServerManager] Process terminated (PID: %1, status: %2)")
                              .arg(pid)
                              .arg(exitCode));
                QMetaObject::invokeMethod(
                    process,
                    [self, process, pid] {
                        if (self) {
                            self->childEnded(process, pid);
                        }
                        process->deleteLater();
                    },
                    Qt::QueuedConnection);
            });

    const bool started = co_await ChildProcess::start(child.get());
    if (!started) {
        const QString description = child->errorString();
        delete child.get();
        Log::line(QStringLiteral("❌ [ServerManager] Failed to start process: %1").arg(description));
        if (self) {
            setStatus(ServerStatus::stopped);
        }
        throw ServerError::failedToStart(description);
    }
    const qint64 pid = *childPid;

    if (!self) {
        // The manager went away while the child started: treat it as tracked and let it go.
        if (child) {
            child->terminate();
        }
        co_return port;
    }
    runningProcess = child;
    runningPid = pid;
    Log::line(QStringLiteral("✅ [ServerManager] Server process started (PID: %1)").arg(pid));

    std::optional<int> learned;
    QSet<int> groupPorts;
    for (int attempt = 1; attempt <= startupAttempts; ++attempt) {
        bool interrupted = false;
        try {
            co_await sleepFor(std::chrono::milliseconds(startupAttemptIntervalMs), cancel);
        } catch (const CancellationError&) {
            interrupted = true;
        }
        if (!self) {
            co_return port;
        }
        bool listening = false;
        if (!interrupted) {
            listening = co_await portHasListener(port, toolDeadline);
            if (!self) {
                co_return port;
            }
        }
        groupPorts.clear();
        if (!listening && !cancel.isCancelled()) {
            // The child leads its own session, so its process group is its pid.
            groupPorts = co_await ListeningPorts::ofProcessGroup(pid, toolDeadline);
            if (!self) {
                co_return port;
            }
        }
        // Given up by its caller: whatever became of the child, this start leaves nothing of
        // its own running, and has nothing to report.
        if (cancel.isCancelled()) {
            co_await abandonStart(child, pid);
            throw CancellationError();
        }
        if (listening) {
            Log::line(
                QStringLiteral("✅ [ServerManager] Server confirmed running on port %1 (attempt %2)")
                    .arg(port)
                    .arg(attempt));
            break;
        }
        if (!isRunning(child)) {
            Log::line(QStringLiteral("❌ [ServerManager] Process crashed before server started"));
            const ServerError error = ServerError::failedToStart(
                QStringLiteral("Process crashed during startup"), lastLines->texts());
            Log::line(QStringLiteral("❌ [ServerManager] Failed to start process: %1")
                          .arg(error.errorDescription()));
            setStatus(ServerStatus::stopped);
            throw error;
        }
        // A server that has printed its address on the one port it listens on is ready.
        learned = learner->announcedPort(groupPorts);
        if (learned) {
            break;
        }
        Log::line(QStringLiteral("⏳ [ServerManager] Waiting for port %1... (attempt %2/%3)")
                      .arg(port)
                      .arg(attempt)
                      .arg(startupAttempts));
        if (attempt == startupAttempts) {
            Log::line(
                QStringLiteral(
                    "⚠️ [ServerManager] Server process running but port %1 not responding")
                    .arg(port));
            learned = learner->learnedPort(groupPorts);
        }
    }

    int serverPort = port;
    if (learned) {
        serverPort = *learned;
        Log::line(QStringLiteral("🔎 [ServerManager] Port %1 silent; server listens on %2, using it")
                      .arg(port)
                      .arg(serverPort));
        // Polling follows at once; the owner of the project's settings stores the port.
        setCurrentPort(serverPort);
        Q_EMIT portLearned(project, serverPort);
        if (!self) {
            co_return serverPort;
        }
    }
    co_await updateStatus();
    co_return serverPort;
}

QCoro::Task<> ServerManager::abandonStart(QPointer<QProcess> child, qint64 pid)
{
    Log::line(QStringLiteral("⏹️ [ServerManager] Start cancelled, stopping process (PID: %1)")
                  .arg(pid));
    // Forgotten first, so that its end changes neither the tracked child nor the status.
    if (runningProcess == child) {
        runningProcess = nullptr;
        runningPid = 0;
    }
    co_await stopChild(child, pid);
}

quint64 ServerManager::beginOutput(const Project& project, const QString& command)
{
    Q_EMIT outputStarted(project, command);
    return ++outputRun;
}

// --- Dependencies -------------------------------------------------------------------------------

QCoro::Task<> ServerManager::installDependencies(Project project)
{
    const QPointer<ServerManager> self(this);
    const std::chrono::milliseconds limit = installLimit;
    const FolderAccessScope folderScope(folderAccess, project.path);
    const QString folderPath = QDir::cleanPath(project.folderPath());
    const QStringList command = NodeDependencies::installCommand(folderPath);
    const QString commandText = command.join(QLatin1Char(' '));
    Log::line(QStringLiteral("📦 [ServerManager] Installing dependencies: %1 in %2")
                  .arg(commandText, folderPath));
    const QProcessEnvironment environment = co_await serverEnvironment(folderPath);
    if (!self) {
        co_return;
    }
    const quint64 run = beginOutput(project, commandText);

    const ChildProcess::Owned process = ChildProcess::create();
    QProcess& install = *process;
    // Through env like the server itself, so the package manager is found where the server's
    // tools are.
    install.setProgram(SystemTools::env());
    install.setArguments(command);
    install.setWorkingDirectory(folderPath);
    install.setProcessEnvironment(environment);
    detachInput(install);
    // Its scripts (postinstall builds) end with it at the deadline.
    ChildProcess::leadOwnProcessGroup(install);

    const auto lastLines = std::make_shared<OutputLines>(failureLines, false);
    // Stateful decoders: a pipe read may end inside a character.
    const auto decoders = std::make_shared<std::pair<QStringDecoder, QStringDecoder>>(
        QStringDecoder(QStringDecoder::Utf8), QStringDecoder(QStringDecoder::Utf8));
    const auto read = [self, lastLines, decoders, run, &install](bool isError) {
        install.setReadChannel(isError ? QProcess::StandardError : QProcess::StandardOutput);
        const QByteArray data = install.readAll();
        if (data.isEmpty()) {
            return;
        }
        const QString text = (isError ? decoders->second : decoders->first).decode(data);
        lastLines->append(text, isError);
        Log::line(isError ? QStringLiteral("⚠️ [Server Error] %1").arg(text.trimmed())
                          : QStringLiteral("📝 [Server Output] %1").arg(text.trimmed()));
        if (self && self->outputRun == run) {
            Q_EMIT self->outputRead(text, isError);
        }
    };
    connect(&install, &QProcess::readyReadStandardOutput, &install, [read] { read(false); });
    connect(&install, &QProcess::readyReadStandardError, &install, [read] { read(true); });

    const auto fail = [&commandText](const QString& reason, const QStringList& lines) {
        Log::line(QStringLiteral("❌ [ServerManager] Failed to install dependencies (%1): %2")
                      .arg(commandText, reason));
        return ServerError::failedToStart(reason, lines);
    };
    if (!co_await ChildProcess::start(&install)) {
        throw fail(install.errorString(), {});
    }
    const bool finished = co_await ChildProcess::waitForExit(&install, limit);
    read(false);
    read(true);
    if (!finished) {
        throw fail(
            QStringLiteral("%1 did not finish within %2 s").arg(commandText, inSeconds(limit)),
            lastLines->texts());
    }
    if (install.exitStatus() != QProcess::NormalExit || install.exitCode() != 0) {
        const int status = install.exitStatus() == QProcess::NormalExit ? install.exitCode() : -1;
        throw fail(QStringLiteral("%1 failed (exit status %2)").arg(commandText).arg(status),
                   lastLines->texts());
    }
    Log::line(QStringLiteral("✅ [ServerManager] Dependencies installed (%1)").arg(commandText));
}

QCoro::Task<QProcessEnvironment> ServerManager::serverEnvironment(QString folder)
{
    // The source outlives the manager while the shell is asked.
    const std::shared_ptr<ServerEnvironment> source = environmentSource;
    co_return co_await source->forProject(std::move(folder));
}

void ServerManager::setShellEnvironment(std::shared_ptr<ShellEnvironment> shell)
{
    environmentSource = std::make_shared<ServerEnvironment>(std::move(shell));
}

void ServerManager::refreshEnvironment()
{
    environmentSource->refresh();
}

void ServerManager::childEnded(QProcess* process, qint64 pid)
{
    // A notice for a child that has already been replaced changes nothing.
    if (!runningProcess || runningProcess != process || runningPid != pid) {
        return;
    }
    runningProcess = nullptr;
    runningPid = 0;
    updateStatus();
}

// --- Port polling -------------------------------------------------------------------------------

QStringList ServerManager::portQueryArguments(int port)
{
    return SystemTools::lsofOptions() +
           QStringList{QStringLiteral("-i"), QStringLiteral(":") + QString::number(port),
                       QStringLiteral("-sTCP:LISTEN"), QStringLiteral("-t")};
}

QCoro::Task<bool> ServerManager::checkPort(int port)
{
    return portHasListener(port, deadline);
}

QCoro::Task<bool> ServerManager::portHasListener(int port, std::chrono::milliseconds deadline)
{
    if (const std::optional<bool> listening = ListeningPorts::listenerOn(port)) {
        co_return *listening;
    }
    co_return co_await lsofReportsListener(port, deadline);
}

QCoro::Task<bool> ServerManager::lsofReportsListener(int port, std::chrono::milliseconds deadline)
{
    const ChildProcess::Owned process = ChildProcess::create();
    QProcess& lsof = *process;
    lsof.setProcessChannelMode(QProcess::MergedChannels);
    // lsof starts nothing of its own, so it is killed alone at the deadline, and without a
    // child process modifier Qt can launch it the cheap way (vfork) on every poll.
    detachInput(lsof);
    lsof.setProgram(SystemTools::lsof());
    lsof.setArguments(portQueryArguments(port));
    const bool started = co_await ChildProcess::start(&lsof);
    if (!started) {
        Log::line(QStringLiteral("⚠️ [ServerManager] lsof failed for port %1: %2")
                      .arg(port)
                      .arg(lsof.errorString()));
        co_return false;
    }
    const bool finished = co_await ChildProcess::waitForExit(&lsof, deadline);
    if (!finished) {
        Log::line(QStringLiteral("⚠️ [ServerManager] lsof timed out after %1 s for port %2")
                      .arg(inSeconds(deadline))
                      .arg(port));
        co_return false;
    }
    // Diagnostics share the channel, so any text at all reads as "in use". Intended.
    co_return !decodeOutput(lsof.readAll()).trimmed().isEmpty();
}

QCoro::Task<> ServerManager::updateStatus()
{
    const QPointer<ServerManager> self(this);
    // Held to the end: an update asked for meanwhile checks afresh after this one.
    const TurnQueue::Turn turn = co_await statusUpdates.take();
    if (!self) {
        co_return;
    }
    const int port = watchedPort;
    std::optional<bool> running = ListeningPorts::listenerOn(port);
    if (running) {
        // Answered at once, but an update is still a task of its own that never ends inside
        // its caller.
        co_await QCoro::sleepFor(std::chrono::milliseconds(0));
    } else {
        running = co_await lsofReportsListener(port, deadline);
    }
    // A manager that went away meanwhile has nobody left to tell.
    if (!self) {
        co_return;
    }
    self->publishPoll(port, *running);
}

void ServerManager::publishPoll(int port, bool running)
{
    if (pollLine.isEmpty() || pollLinePort != port || pollLineRunning != running) {
        pollLine = QStringLiteral("🔍 [ServerManager] Polling port %1: %2")
                       .arg(port)
                       .arg(running ? QStringLiteral("RUNNING ✅") : QStringLiteral("STOPPED ❌"));
        pollLinePort = port;
        pollLineRunning = running;
    }
    Log::line(pollLine);
    setStatus(running ? ServerStatus::running : ServerStatus::stopped);
}

void ServerManager::startPolling(int port)
{
    invalidatePollingTimer();
    setCurrentPort(port);
    Log::line(QStringLiteral("🚀 [ServerManager] Starting polling on port %1").arg(port));
    updateStatus();

    // Qt timers keep firing while a menu is open, so no run loop modes are needed.
    timer = new QTimer(this);
    timer->setInterval(interval);
    connect(timer, &QTimer::timeout, this, &ServerManager::pollingTick);
    timer->start();
}

void ServerManager::pollingTick()
{
    // A slow lsof must not pile up behind itself: the tick finds the update under way and
    // leaves it to publish.
    if (statusUpdates.isBusy()) {
        return;
    }
    // The kernel answers at once, so the usual tick is done here and now, without a task.
    if (const std::optional<bool> running = ListeningPorts::listenerOn(watchedPort)) {
        publishPoll(watchedPort, *running);
        return;
    }
    updateStatus();
}

void ServerManager::updatePollingPort(int port)
{
    Log::line(QStringLiteral("🔄 [ServerManager] Switching polling to port %1").arg(port));
    // The timer stays: every update reads currentPort, so the next tick follows the switch.
    setCurrentPort(port);
    updateStatus();
}

void ServerManager::invalidatePollingTimer()
{
    if (timer) {
        timer->stop();
        delete timer;
        timer = nullptr;
    }
}

// --- Stopping -----------------------------------------------------------------------------------

QCoro::Task<> ServerManager::killServer(int port)
{
    const QPointer<ServerManager> self(this);
    const std::chrono::milliseconds toolDeadline = deadline;
    Log::line(QStringLiteral("🛑 [ServerManager] killServer called for port %1").arg(port));

    // A tracked child that has already exited stays tracked here; its termination handler
    // clears it.
    if (isRunning(runningProcess)) {
        const QPointer<QProcess> child = runningProcess;
        const qint64 pid = runningPid;
        Log::line(
            QStringLiteral("🛑 [ServerManager] Terminating tracked process (PID: %1)").arg(pid));
        co_await stopChild(child, pid);
        if (!self) {
            co_return;
        }
        runningProcess = nullptr;
        runningPid = 0;
    }

    co_await killProcessesOnPort(port, toolDeadline);
    if (!self) {
        co_return;
    }
    co_await updateStatus();
    Log::line(QStringLiteral("✅ [ServerManager] killServer completed for port %1").arg(port));
}

QString ServerManager::politeKillScript(int port, const QString& lsofPath)
{
    return killScriptHead(port, lsofPath) + QLatin1String(R"script(    if [ -n "$PIDS" ]; then
        echo "Found PIDs: $PIDS"
        for PID in $PIDS; do
            # Try to kill process group (includes child processes like node)
            PGID=$(ps -o pgid= -p $PID 2>/dev/null | tr -d ' ')
            if [ -n "$PGID" ] && [ "$PGID" != "0" ]; then
                kill -TERM -$PGID 2>/dev/null || kill -TERM $PID 2>/dev/null
            else
                kill -TERM $PID 2>/dev/null
            fi
        done
    else
        echo "No processes found on port )script") +
           QString::number(port) + QLatin1String(R"script("
    fi)script");
}

QString ServerManager::forcefulKillScript(int port, const QString& lsofPath)
{
    return killScriptHead(port, lsofPath) + QLatin1String(R"script(    if [ -n "$PIDS" ]; then
        for PID in $PIDS; do
            # Kill process group first, then individual PID
            PGID=$(ps -o pgid= -p $PID 2>/dev/null | tr -d ' ')
            if [ -n "$PGID" ] && [ "$PGID" != "0" ]; then
                kill -9 -$PGID 2>/dev/null || kill -9 $PID 2>/dev/null
            else
                kill -9 $PID 2>/dev/null
            fi
        done
    fi)script");
}

QCoro::Task<> ServerManager::killProcessesOnPort(int port, std::chrono::milliseconds deadline)
{
    Log::line(
        QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1").arg(port));
    const QString lsofPath = SystemTools::lsof();

    if (!co_await runKillScript(port, politeKillScript(port, lsofPath), true, deadline)) {
        co_return;
    }
    co_await QCoro::sleepFor(std::chrono::milliseconds(politeKillWaitMs));
    if (!co_await portHasListener(port, deadline)) {
        Log::line(QStringLiteral("✅ [ServerManager] Successfully terminated process on port %1")
                      .arg(port));
        co_return;
    }

    Log::line(
        QStringLiteral("⚠️ [ServerManager] Port %1 still in use, forcing kill").arg(port));
    if (!co_await runKillScript(port, forcefulKillScript(port, lsofPath), false, deadline)) {
        co_return;
    }
    co_await QCoro::sleepFor(std::chrono::milliseconds(forcefulKillWaitMs));
    if (co_await portHasListener(port, deadline)) {
        Log::line(QStringLiteral("❌ [ServerManager] Failed to kill process on port %1").arg(port));
    } else {
        Log::line(QStringLiteral("✅ [ServerManager] Successfully force-killed process on port %1")
                      .arg(port));
    }
}
