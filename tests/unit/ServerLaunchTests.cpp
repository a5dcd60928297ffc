#include "Managers/ServerManager.h"
#include "Platform/SystemTools.h"

#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeShellEnvironment.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <unistd.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

class ServerLaunchTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        port = TestSupport::freePort();
        manager = std::make_unique<ServerManager>(access);
        // No login shell: the tests here pin what servers get without one.
        manager->setShellEnvironment(std::make_shared<FakeShellEnvironment>());
        QObject::connect(manager.get(), &ServerManaging::statusChanged, manager.get(),
                         [this](ServerStatus status) { statuses.append(status); });
    }

    void TearDown() override
    {
        if (manager && manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
    }

    Project project() const { return makeProject(folder.path(), port); }

    std::optional<QString> start(const QString& command)
    {
        return startReaped(*manager, project(), command, reaper);
    }

    // The pid logged by "Server process started", 0 when there is none.
    qint64 loggedPid() const
    {
        static const QRegularExpression pattern(
            QStringLiteral("^✅ \\[ServerManager\\] Server process started \\(PID: (\\d+)\\)$"));
        for (const QString& line : log.lines()) {
            const auto match = pattern.match(line);
            if (match.hasMatch()) {
                return match.captured(1).toLongLong();
            }
        }
        return 0;
    }

    void expectAccessBalanced() const
    {
        EXPECT_EQ(access->startedURLs, QList<QUrl>{project().path});
        EXPECT_EQ(access->stoppedURLs, QList<QUrl>{project().path});
    }

    qsizetype indexOf(const QString& line) const { return log.lines().indexOf(line); }

    ScopedTemporaryDirectory temporary; // first: outlives everything that writes there
    QTemporaryDir folder;
    int port = 0;
    std::shared_ptr<FakeFolderAccess> access = std::make_shared<FakeFolderAccess>();
    ProcessGroupReaper reaper; // declared before the manager: kills after the manager is gone
    std::unique_ptr<ServerManager> manager;
    QList<ServerStatus> statuses;
    LogCapture log;
};

const QString crashError = QStringLiteral("Failed to start server: Process crashed during startup");

} // namespace

TEST_F(ServerLaunchTest, NewManagerHasUnknownStatusPort3000NoTimerNoChild)
{
    EXPECT_EQ(manager->status(), ServerStatus::unknown);
    EXPECT_EQ(manager->currentPort(), 3000);
    EXPECT_EQ(manager->pollingTimer(), nullptr);
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_EQ(manager->runningProcessId(), 0);
}

TEST_F(ServerLaunchTest, CommandOfOnlySpacesAndLineBreaksFailsAsEmptyAndStops)
{
    const auto error = start(QStringLiteral("   \n  \r\n\t "));

    EXPECT_EQ(error, QStringLiteral("Failed to start server: Empty command"));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_EQ(statuses, (QList<ServerStatus>{ServerStatus::starting, ServerStatus::stopped}));
    EXPECT_TRUE(log.contains(QStringLiteral("❌ [ServerManager] Empty command")));
    EXPECT_TRUE(
        log.linesStartingWith(QStringLiteral("🚀 [ServerManager] Starting server")).isEmpty());
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_EQ(manager->currentPort(), port);
    expectAccessBalanced();
}

TEST_F(ServerLaunchTest, StartClearsThePortBeforeLaunching)
{
    start(QStringLiteral(" "));

    const QStringList lines = log.lines();
    ASSERT_GE(lines.size(), 4);
    EXPECT_EQ(lines.mid(0, 4),
              (QStringList{
                  QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1")
                      .arg(port),
                  QStringLiteral("🛑 [ServerManager] Kill output: No processes found on port %1")
                      .arg(port),
                  QStringLiteral("✅ [ServerManager] Successfully terminated process on port %1")
                      .arg(port),
                  QStringLiteral("❌ [ServerManager] Empty command"),
              }));
}

TEST_F(ServerLaunchTest, PythonHttpServerStartsAndIsConfirmedOnItsPort)
{
    const QString command = QStringLiteral("python3 -m http.server %1").arg(port);
    const auto error = start(command);

    ASSERT_EQ(error, std::nullopt);
    EXPECT_EQ(statuses, (QList<ServerStatus>{ServerStatus::starting, ServerStatus::running}));
    EXPECT_EQ(manager->status(), ServerStatus::running);
    EXPECT_EQ(manager->currentPort(), port);
    ASSERT_TRUE(manager->hasRunningProcess());
    const qint64 pid = manager->runningProcessId();
    EXPECT_EQ(loggedPid(), pid);

    const qsizetype starting = indexOf(QStringLiteral("🚀 [ServerManager] Starting server: %1 in %2")
                                           .arg(command, QDir::cleanPath(folder.path())));
    const qsizetype started =
        indexOf(QStringLiteral("✅ [ServerManager] Server process started (PID: %1)").arg(pid));
    const QStringList confirmations = log.linesStartingWith(
        QStringLiteral("✅ [ServerManager] Server confirmed running on port %1 (attempt ")
            .arg(port));
    ASSERT_EQ(confirmations.size(), 1);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("\\(attempt ([1-9]|10)\\)$"))
                    .match(confirmations.first())
                    .hasMatch())
        << confirmations.first().toStdString();
    const qsizetype confirmed = indexOf(confirmations.first());
    const qsizetype polled =
        indexOf(QStringLiteral("🔍 [ServerManager] Polling port %1: RUNNING ✅").arg(port));
    EXPECT_GE(starting, 0);
    EXPECT_LT(starting, started);
    EXPECT_LT(started, confirmed);
    EXPECT_LT(confirmed, polled);
    expectAccessBalanced();

    // Launched through env into the project folder, in a session of its own.
    EXPECT_EQ(QFileInfo(QStringLiteral("/proc/%1/cwd").arg(pid)).canonicalFilePath(),
              QFileInfo(folder.path()).canonicalFilePath());
    EXPECT_EQ(::getpgid(static_cast<pid_t>(pid)), pid);
    EXPECT_EQ(::getsid(static_cast<pid_t>(pid)), pid);
    EXPECT_NE(::getpgid(static_cast<pid_t>(pid)), ::getpgrp());
    EXPECT_TRUE(checkPort(*manager, port));
}

TEST_F(ServerLaunchTest, LeadingAssignmentSetsTheVariableThroughEnv)
{
    const auto error = start(QStringLiteral("PORT=%1 python3 %2")
                                 .arg(port)
                                 .arg(fixture(QStringLiteral("port_from_environment_server.py"))));

    ASSERT_EQ(error, std::nullopt);
    EXPECT_EQ(
        log.linesStartingWith(
               QStringLiteral("✅ [ServerManager] Server confirmed running on port %1 (attempt ")
                   .arg(port))
            .size(),
        1);
    EXPECT_TRUE(waitUntil([&] {
        return log.contains(QStringLiteral("📝 [Server Output] serving on %1 from PORT").arg(port));
    }));
    EXPECT_EQ(manager->status(), ServerStatus::running);
}

TEST_F(ServerLaunchTest, CdAndAmpersandsAreNotAShellLine)
{
    QDir(folder.path()).mkdir(QStringLiteral("web"));
    const QString command = QStringLiteral("cd web && python3 -m http.server %1").arg(port);
    const auto error = start(command);

    EXPECT_EQ(error, crashError);
    EXPECT_TRUE(log.contains(QStringLiteral("🚀 [ServerManager] Starting server: %1 in %2")
                                 .arg(command, QDir::cleanPath(folder.path()))));
    // env was asked to run a program named cd; nothing ever listened.
    const QStringList errors =
        log.linesStartingWith(QStringLiteral("⚠️ [Server Error] /usr/bin/env: "));
    ASSERT_EQ(errors.size(), 1) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(errors.first().contains(QStringLiteral("cd")));
    EXPECT_TRUE(errors.first().endsWith(QStringLiteral("No such file or directory")));
    EXPECT_FALSE(checkPort(*manager, port));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
}

TEST_F(ServerLaunchTest, ChildExitingWithinTheFirstHalfSecondCrashesTheStart)
{
    const auto error = start(QStringLiteral("false"));

    EXPECT_EQ(error, crashError);
    const qint64 pid = loggedPid();
    ASSERT_GT(pid, 0);
    const qsizetype terminated = indexOf(
        QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 1)").arg(pid));
    const qsizetype crashed =
        indexOf(QStringLiteral("❌ [ServerManager] Process crashed before server started"));
    const qsizetype failed =
        indexOf(QStringLiteral("❌ [ServerManager] Failed to start process: ") + crashError);
    EXPECT_GE(terminated, 0);
    EXPECT_LT(terminated, crashed);
    EXPECT_EQ(failed, crashed + 1);
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("⏳")).isEmpty());
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_EQ(statuses.first(), ServerStatus::starting);
    EXPECT_EQ(statuses.last(), ServerStatus::stopped);
    EXPECT_TRUE(waitUntil([&] { return !manager->hasRunningProcess(); }));
    expectAccessBalanced();
}

TEST_F(ServerLaunchTest, CommandThatCannotBeFoundShowsEnvsMessageAndExitStatus127)
{
    const auto error = start(QStringLiteral("wisp-no-such-command --serve"));

    EXPECT_EQ(error, crashError);
    const qint64 pid = loggedPid();
    ASSERT_GT(pid, 0);
    const QStringList errors = log.linesStartingWith(QStringLiteral("⚠️ [Server Error] "));
    ASSERT_EQ(errors.size(), 1) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(
        QRegularExpression(
            QStringLiteral("^⚠️ \\[Server Error\\] /usr/bin/env: .wisp-no-such-command.: "
                           "No such file or directory$"))
            .match(errors.first())
            .hasMatch())
        << errors.first().toStdString();
    const qsizetype envMessage = indexOf(errors.first());
    const qsizetype terminated =
        indexOf(QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 127)")
                    .arg(pid));
    const qsizetype crashed =
        indexOf(QStringLiteral("❌ [ServerManager] Process crashed before server started"));
    EXPECT_LT(envMessage, terminated);
    EXPECT_LT(terminated, crashed);
    EXPECT_TRUE(
        log.contains(QStringLiteral("❌ [ServerManager] Failed to start process: ") + crashError));
}

TEST_F(ServerLaunchTest, ChildThatNeverListensReturnsNormallyAfterTheTenthWait)
{
    const auto error = start(QStringLiteral("sleep 120"));

    ASSERT_EQ(error, std::nullopt);
    QStringList expected;
    for (int attempt = 1; attempt <= 10; ++attempt) {
        expected.append(QStringLiteral("⏳ [ServerManager] Waiting for port %1... (attempt %2/10)")
                            .arg(port)
                            .arg(attempt));
    }
    expected.append(
        QStringLiteral("⚠️ [ServerManager] Server process running but port %1 not responding")
            .arg(port));
    expected.append(QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(port));
    const QStringList lines = log.lines();
    const qsizetype first = lines.indexOf(expected.first());
    ASSERT_GE(first, 0) << lines.join('\n').toStdString();
    EXPECT_EQ(lines.mid(first), expected);
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    ASSERT_TRUE(manager->hasRunningProcess());
    EXPECT_TRUE(isAlive(manager->runningProcessId()));
    expectAccessBalanced();
}

TEST_F(ServerLaunchTest, ChildGetsTheFixedSearchPathTheRestOfTheEnvironmentAndTheFolder)
{
    qputenv("PATH", QByteArray("/home/someone/.nvm/bin:") + qgetenv("PATH"));
    qputenv("WISP_TEST_MARKER", "kept as is");
    const auto error = start(
        QStringLiteral(R"cmd(sh -c 'echo "PATH=$PATH MARKER=$WISP_TEST_MARKER CWD=$(pwd)"')cmd"));

    EXPECT_EQ(error, crashError);
    EXPECT_TRUE(log.contains(
        QStringLiteral("📝 [Server Output] PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin:"
                       "/opt/homebrew/bin MARKER=kept as is CWD=%1")
            .arg(QDir::cleanPath(folder.path()))))
        << log.lines().join('\n').toStdString();
}

TEST_F(ServerLaunchTest, ToolOnlyOnTheUsersPathIsNotFound)
{
    QTemporaryDir userBin;
    TestSupport::writeFile(userBin.path(), QStringLiteral("wisp-user-tool"),
                           "#!/bin/sh\necho user tool ran\nsleep 60\n");
    QFile::setPermissions(userBin.filePath(QStringLiteral("wisp-user-tool")),
                          QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    qputenv("PATH", userBin.path().toUtf8() + ":" + qgetenv("PATH"));
    ASSERT_EQ(
        QProcess::execute(QStringLiteral("/bin/sh"),
                          {QStringLiteral("-c"), QStringLiteral("command -v wisp-user-tool")}),
        0);

    const auto error = start(QStringLiteral("wisp-user-tool"));

    EXPECT_EQ(error, crashError);
    EXPECT_FALSE(log.contains(QStringLiteral("📝 [Server Output] user tool ran")));
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("⚠️ [Server Error] /usr/bin/env: ")).size(),
              1);
}

TEST_F(ServerLaunchTest, EachOutputChunkIsOneTrimmedLineOnItsChannel)
{
    const auto error =
        start(QStringLiteral(R"(sh -c 'printf "  first\nsecond  \n"; echo oops >&2')"));

    EXPECT_EQ(error, crashError);
    EXPECT_TRUE(log.contains(QStringLiteral("📝 [Server Output] first\nsecond")))
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("⚠️ [Server Error] oops")));
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("📝 [Server Output]")).size(), 1);
}

TEST_F(ServerLaunchTest, OutputThatIsNotUtf8IsDropped)
{
    const auto error =
        start(QStringLiteral(R"(sh -c 'printf "\377\376 bad\n"; sleep 1; echo after')"));

    EXPECT_EQ(error, crashError);
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("📝 [Server Output]")),
              QStringList{QStringLiteral("📝 [Server Output] after")});
}

TEST_F(ServerLaunchTest, OutputOfARunningServerIsLoggedAsItArrives)
{
    const auto error = start(QStringLiteral("python3 %1 %2")
                                 .arg(fixture(QStringLiteral("chatty_http_server.py")))
                                 .arg(port));
    ASSERT_EQ(error, std::nullopt);

    // The server keeps talking after the start has returned, and every chunk reaches the log.
    const qsizetype before = log.linesStartingWith(QStringLiteral("📝 [Server Output] ")).size();
    EXPECT_TRUE(waitUntil([&] {
        return log.linesStartingWith(QStringLiteral("📝 [Server Output] ")).size() >= before + 5;
    }));
    const QString output = log.linesStartingWith(QStringLiteral("📝 [Server Output] ")).join('\n');
    EXPECT_TRUE(output.contains(QStringLiteral("serving on %1").arg(port)));
    EXPECT_TRUE(output.contains(QStringLiteral("tick 5")));
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("⚠️ [Server Error]")).isEmpty());
}

TEST_F(ServerLaunchTest, LaunchFailureReportsTheSystemsDescription)
{
    const QString missing = folder.filePath(QStringLiteral("gone"));
    QProcess probe;
    probe.setProgram(SystemTools::env());
    probe.setArguments({QStringLiteral("true")});
    probe.setWorkingDirectory(missing);
    probe.start();
    ASSERT_FALSE(probe.waitForStarted());
    const QString description = probe.errorString();
    ASSERT_FALSE(description.isEmpty());

    Project project = makeProject(missing, port);
    const auto error = startServer(*manager, project, QStringLiteral("python3 -m http.server"));

    EXPECT_EQ(error, QStringLiteral("Failed to start server: ") + description);
    EXPECT_TRUE(
        log.contains(QStringLiteral("❌ [ServerManager] Failed to start process: ") + description));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_EQ(access->startedURLs, QList<QUrl>{project.path});
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{project.path});
}

TEST_F(ServerLaunchTest, DeniedFolderAccessIsNotEnded)
{
    access->grantAccess = false;
    start(QStringLiteral(""));
    EXPECT_EQ(access->startedURLs, QList<QUrl>{project().path});
    EXPECT_TRUE(access->stoppedURLs.isEmpty());
}

TEST_F(ServerLaunchTest, NewStartTerminatesThePreviousChildWhoseExitChangesNothing)
{
    const int firstPort = port;
    ASSERT_EQ(start(QStringLiteral("python3 -m http.server %1").arg(firstPort)), std::nullopt);
    const qint64 firstPid = manager->runningProcessId();

    port = TestSupport::freePort();
    ASSERT_EQ(start(QStringLiteral("python3 -m http.server %1").arg(port)), std::nullopt);
    const qint64 secondPid = manager->runningProcessId();
    ASSERT_NE(firstPid, secondPid);

    EXPECT_TRUE(waitUntil([&] {
        return log.contains(
            QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 15)")
                .arg(firstPid));
    }));
    // The notice is handed to the manager through the event loop: let it arrive.
    QCoreApplication::processEvents();
    EXPECT_TRUE(manager->hasRunningProcess());
    EXPECT_EQ(manager->runningProcessId(), secondPid);
    EXPECT_EQ(manager->currentPort(), port);
    // Nor does it refresh the status.
    const qsizetype updates = log.linesStartingWith(QStringLiteral("🔍")).size();
    EXPECT_FALSE(waitUntil(
        [&] { return log.linesStartingWith(QStringLiteral("🔍")).size() > updates; }, 1500ms));
}

TEST_F(ServerLaunchTest, ExitOfTheTrackedChildClearsItAndRefreshesTheStatus)
{
    ASSERT_EQ(start(QStringLiteral("python3 -m http.server %1").arg(port)), std::nullopt);
    const qint64 pid = manager->runningProcessId();
    statuses.clear();

    ::kill(static_cast<pid_t>(pid), SIGKILL);

    EXPECT_TRUE(waitUntil([&] { return !manager->hasRunningProcess() && !statuses.isEmpty(); }));
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 9)").arg(pid)));
    EXPECT_EQ(statuses, QList<ServerStatus>{ServerStatus::stopped});
    EXPECT_TRUE(log.lines().endsWith(
        QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(port)));
}

TEST_F(ServerLaunchTest, DestroyingTheManagerSendsSigtermToTheTrackedChild)
{
    ASSERT_EQ(start(QStringLiteral("python3 -m http.server %1").arg(port)), std::nullopt);
    const qint64 pid = manager->runningProcessId();
    manager->startPolling(port);

    manager.reset();

    EXPECT_TRUE(waitUntil([&] {
        return log.contains(
            QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 15)")
                .arg(pid));
    }));
    EXPECT_TRUE(waitUntil([&] { return !isAlive(pid); }));
    EXPECT_TRUE(waitUntil([] { return zombieChildren().isEmpty(); }));
}
