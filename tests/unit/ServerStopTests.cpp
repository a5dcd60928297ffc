#include "Managers/ServerManager.h"
#include "Platform/SystemTools.h"

#include "ServerFixture.h"
#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <unistd.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

class ServerStopTest : public ServerFixture
{
protected:
    void SetUp() override
    {
        ServerFixture::SetUp();
        watchOwnPort();
    }

    std::optional<QString> start(const QString& command)
    {
        return startReaped(*manager, makeProject(folder.path(), port), command, reaper);
    }

    QString fixtureCommand(const QString& options = {}) const
    {
        return QStringLiteral("python3 %1 %2 %3")
            .arg(fixture(QStringLiteral("tcp_listener.py")))
            .arg(port)
            .arg(options)
            .trimmed();
    }

    QStringList fixtureArguments(const QStringList& options = {}) const
    {
        return QStringList{fixture(QStringLiteral("tcp_listener.py")), QString::number(port)} +
               options;
    }

    // Log lines from the first one that starts with `prefix` on.
    QStringList linesFrom(const QString& prefix) const
    {
        const QStringList lines = log.lines();
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (lines.at(i).startsWith(prefix)) {
                return lines.mid(i);
            }
        }
        return {};
    }

    QString killCalled() const
    {
        return QStringLiteral("🛑 [ServerManager] killServer called for port %1").arg(port);
    }
};

// Runs the polite kill script the way the manager does, with `ps` replaced by a script that
// prints `fakePgid`; the shell gets a session of its own so that a group kill gone wrong could
// only hit the shell itself.
QProcess::ExitStatus runPoliteScriptWithFakePs(int port, const QByteArray& fakePsOutput,
                                               QString* output, int* exitCode)
{
    QTemporaryDir fakeBin;
    TestSupport::writeFile(fakeBin.path(), QStringLiteral("ps"),
                           "#!/bin/sh\nprintf '" + fakePsOutput + "'\n");
    QFile::setPermissions(fakeBin.filePath(QStringLiteral("ps")),
                          QFileDevice::ReadOwner | QFileDevice::ExeOwner);

    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), fakeBin.path() + QLatin1Char(':') +
                                                   environment.value(QStringLiteral("PATH")));
    shell.setProcessEnvironment(environment);
    shell.setProcessChannelMode(QProcess::MergedChannels);
    shell.setChildProcessModifier([] { ::setsid(); });
    shell.start(SystemTools::shell(),
                {QStringLiteral("-c"), ServerManager::politeKillScript(port, SystemTools::lsof())});
    EXPECT_TRUE(shell.waitForFinished(30000));
    *output = QString::fromUtf8(shell.readAll()).trimmed();
    *exitCode = shell.exitCode();
    return shell.exitStatus();
}

} // namespace

TEST_F(ServerStopTest, FreePortLogsNoProcessesFoundAsKillOutputThenSuccess)
{
    killServer(*manager, port);

    EXPECT_EQ(log.lines(),
              (QStringList{
                  killCalled(),
                  QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1")
                      .arg(port),
                  QStringLiteral("🛑 [ServerManager] Kill output: No processes found on port %1")
                      .arg(port),
                  QStringLiteral("✅ [ServerManager] Successfully terminated process on port %1")
                      .arg(port),
                  QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(port),
                  QStringLiteral("✅ [ServerManager] killServer completed for port %1").arg(port),
              }));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
}

TEST_F(ServerStopTest, WithoutATrackedChildKillGoesStraightToThePortKill)
{
    ExternalServer server(reaper, fixtureArguments());
    ASSERT_TRUE(isAlive(server.pid()));
    ASSERT_FALSE(manager->hasRunningProcess());

    killServer(*manager, port);

    const QStringList lines = log.lines();
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(
        lines.mid(0, 3),
        (QStringList{
            killCalled(),
            QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1")
                .arg(port),
            QStringLiteral("🛑 [ServerManager] Kill output: Found PIDs: %1").arg(server.pid()),
        }));
    EXPECT_TRUE(log.contains(
        QStringLiteral("✅ [ServerManager] Successfully terminated process on port %1").arg(port)));
    EXPECT_TRUE(waitUntil([&] { return server.process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(server.process.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(server.process.exitCode(), SIGTERM);
    EXPECT_FALSE(checkPort(*manager, port));
}

TEST_F(ServerStopTest, KillingAServersGroupAlsoEndsTheWrappersChildren)
{
    ExternalServer server(reaper, fixtureArguments({QStringLiteral("--child")}));
    const qint64 child = server.childPid();
    ASSERT_GT(child, 0);
    ASSERT_TRUE(isAlive(child));

    killServer(*manager, port);

    EXPECT_TRUE(waitUntil([&] { return !isAlive(child) && !isAlive(server.pid()); }));
}

TEST_F(ServerStopTest, ServerIgnoringSigtermIsForceKilledAndThePortFreed)
{
    ExternalServer server(reaper, fixtureArguments({QStringLiteral("--ignore-term")}));
    ASSERT_TRUE(isAlive(server.pid()));

    killServer(*manager, port);

    EXPECT_EQ(
        linesFrom(QStringLiteral("🛑 [ServerManager] Kill output: ")),
        (QStringList{
            QStringLiteral("🛑 [ServerManager] Kill output: Found PIDs: %1").arg(server.pid()),
            QStringLiteral("⚠️ [ServerManager] Port %1 still in use, forcing kill").arg(port),
            QStringLiteral("✅ [ServerManager] Successfully force-killed process on port %1")
                .arg(port),
            QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(port),
            QStringLiteral("✅ [ServerManager] killServer completed for port %1").arg(port),
        }));
    EXPECT_TRUE(waitUntil([&] { return server.process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(server.process.exitCode(), SIGKILL);
    EXPECT_FALSE(checkPort(*manager, port));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
}

TEST_F(ServerStopTest, TrackedChildThatExitsWithinTheFirstWaitGetsNoSigkill)
{
    ASSERT_EQ(start(QStringLiteral("python3 -m http.server %1").arg(port)), std::nullopt);
    const qint64 pid = manager->runningProcessId();
    log.clear();

    killServer(*manager, port);

    const QStringList lines = log.lines();
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(
        lines.mid(0, 2),
        (QStringList{killCalled(),
                     QStringLiteral("🛑 [ServerManager] Terminating tracked process (PID: %1)")
                         .arg(pid)}));
    EXPECT_FALSE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process still running, sending SIGKILL")));
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 15)")
            .arg(pid)));
    EXPECT_TRUE(log.contains(
        QStringLiteral("🛑 [ServerManager] Kill output: No processes found on port %1")
            .arg(port)));
    EXPECT_EQ(lines.last(),
              QStringLiteral("✅ [ServerManager] killServer completed for port %1").arg(port));
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_FALSE(isAlive(pid));
}

TEST_F(ServerStopTest, TrackedChildIgnoringSigtermGetsSigkillAfterOneSecond)
{
    ASSERT_EQ(start(fixtureCommand(QStringLiteral("--ignore-term"))), std::nullopt);
    ASSERT_EQ(manager->status(), ServerStatus::running);
    const qint64 pid = manager->runningProcessId();
    log.clear();

    killServer(*manager, port);

    const QStringList lines = log.lines();
    const qsizetype terminating = lines.indexOf(
        QStringLiteral("🛑 [ServerManager] Terminating tracked process (PID: %1)").arg(pid));
    const qsizetype sigkill = lines.indexOf(
        QStringLiteral("⚠️ [ServerManager] Process still running, sending SIGKILL"));
    const qsizetype portKill = lines.indexOf(
        QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1").arg(port));
    EXPECT_EQ(terminating, 1);
    EXPECT_GT(sigkill, terminating);
    EXPECT_GT(portKill, sigkill);
    EXPECT_TRUE(waitUntil([&] {
        return log.contains(
            QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 9)")
                .arg(pid));
    }));
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_FALSE(checkPort(*manager, port));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
}

TEST_F(ServerStopTest, TrackedChildThatHasAlreadyExitedIsLeftToItsTerminationHandler)
{
    ASSERT_EQ(start(QStringLiteral("python3 -m http.server %1").arg(port)), std::nullopt);
    const qint64 pid = manager->runningProcessId();
    const QString terminated =
        QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 9)").arg(pid);

    // killServer runs the moment the exit is noticed: the child has ended, but the termination
    // handler has not yet cleared it.
    std::optional<QCoro::Task<>> kill;
    bool trackedWhenKilled = false;
    const int sink = Log::addSink([&](Log::Stream, const QString& line) {
        if (line == terminated && !kill) {
            trackedWhenKilled = manager->hasRunningProcess();
            kill.emplace(manager->killServer(port));
        }
    });
    ::kill(static_cast<pid_t>(pid), SIGKILL);
    const bool noticed = waitUntil([&] { return kill.has_value(); });
    Log::removeSink(sink);
    ASSERT_TRUE(noticed);
    QCoro::waitFor(*kill);

    EXPECT_TRUE(trackedWhenKilled);
    EXPECT_FALSE(log.contains(
        QStringLiteral("🛑 [ServerManager] Terminating tracked process (PID: %1)").arg(pid)));
    const QStringList fromKill = linesFrom(killCalled());
    ASSERT_GE(fromKill.size(), 2);
    EXPECT_EQ(
        fromKill.at(1),
        QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1").arg(port));
    EXPECT_FALSE(manager->hasRunningProcess());
}

TEST_F(ServerStopTest, ProcessGroupIdZeroMakesTheScriptSignalTheSingleProcess)
{
    ExternalServer server(reaper, fixtureArguments({QStringLiteral("--child")}));
    const qint64 child = server.childPid();
    ASSERT_GT(child, 0);

    QString output;
    int exitCode = -1;
    const auto status = runPoliteScriptWithFakePs(port, " 0 \\n", &output, &exitCode);

    // The shell was not hit by "kill -TERM -0", the listener got SIGTERM, its group did not.
    EXPECT_EQ(status, QProcess::NormalExit);
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(output, QStringLiteral("Found PIDs: %1").arg(server.pid()));
    EXPECT_TRUE(waitUntil([&] { return server.process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(server.process.exitCode(), SIGTERM);
    EXPECT_TRUE(isAlive(child));
}

TEST_F(ServerStopTest, EmptyProcessGroupIdMakesTheScriptSignalTheSingleProcess)
{
    ExternalServer server(reaper, fixtureArguments({QStringLiteral("--child")}));
    const qint64 child = server.childPid();
    ASSERT_GT(child, 0);

    QString output;
    int exitCode = -1;
    const auto status = runPoliteScriptWithFakePs(port, "", &output, &exitCode);

    EXPECT_EQ(status, QProcess::NormalExit);
    EXPECT_EQ(exitCode, 0);
    EXPECT_EQ(output, QStringLiteral("Found PIDs: %1").arg(server.pid()));
    EXPECT_TRUE(waitUntil([&] { return server.process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(server.process.exitCode(), SIGTERM);
    EXPECT_TRUE(isAlive(child));
}

TEST_F(ServerStopTest, TestProcessSurvivesKillingAServerItsManagerStarted)
{
    // A wrapper that stays the parent of the listening process, as a package manager does.
    ASSERT_EQ(start(QStringLiteral("sh -c \"python3 -m http.server %1; exit 0\"").arg(port)),
              std::nullopt);
    const qint64 wrapper = manager->runningProcessId();
    ASSERT_EQ(childrenOf(wrapper).size(), 1);
    const qint64 listener = childrenOf(wrapper).first();
    ASSERT_EQ(::getpgid(static_cast<pid_t>(listener)), wrapper);
    const pid_t ownGroup = ::getpgrp();
    ASSERT_NE(ownGroup, wrapper);

    killServer(*manager, port);

    EXPECT_TRUE(waitUntil([&] { return !isAlive(listener) && !isAlive(wrapper); }));
    EXPECT_EQ(::getpgrp(), ownGroup);
    EXPECT_FALSE(checkPort(*manager, port));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_TRUE(log.contains(
        QStringLiteral("✅ [ServerManager] killServer completed for port %1").arg(port)));
}
