#include "Managers/ServerManager.h"

#include "ServerFixture.h"
#include "ServerTestSupport.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QScopeGuard>

#include <gtest/gtest.h>

#include <optional>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// A real ServerManager whose servers are wrappers with a child of their own: the child ignores
// SIGTERM, as a server that hangs in its shutdown does. A start can be given up through its
// token.
class ServerGroupTest : public ServerFixture
{
protected:
    void SetUp() override
    {
        ServerFixture::SetUp();
        QObject::connect(manager.get(), &ServerManaging::statusChanged, manager.get(),
                         [this](ServerStatus status) { statuses.append(status); });
    }

    void TearDown() override
    {
        if (manager && manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
        for (const qint64 group : std::as_const(groups)) {
            reaper.add(group);
        }
    }

    // A shell that leaves a `sleep` child ignoring SIGTERM in its process group (it prints
    // "CHILD <pid>"), then becomes `command`.
    static QString wrapper(const QString& command)
    {
        return QStringLiteral("sh -c 'trap \"\" TERM; sleep 300 & echo CHILD $!; exec %1'")
            .arg(command);
    }

    QString listener() const
    {
        return QStringLiteral("python3 %1 %2 --unlisten-on-term")
            .arg(fixture(QStringLiteral("tcp_listener.py")))
            .arg(port);
    }

    // The wrapper's child, from its output in the log; 0 until it has been logged.
    qint64 loggedChild() const
    {
        static const QRegularExpression pattern(QStringLiteral("CHILD (\\d+)"));
        for (const QString& line : log.linesStartingWith(QStringLiteral("📝 [Server Output]"))) {
            const QRegularExpressionMatch match = pattern.match(line);
            if (match.hasMatch()) {
                return match.captured(1).toLongLong();
            }
        }
        return 0;
    }

    std::optional<QString> start(const QString& command)
    {
        const auto error = startReaped(*manager, makeProject(folder.path(), port), command, reaper);
        if (manager->hasRunningProcess()) {
            groups.append(manager->runningProcessId());
        }
        return error;
    }

    // How a start given `token` ended: "returned", "cancelled" or the error's description.
    static QCoro::Task<> startWithToken(ServerManager* manager, Project project, QString command,
                                        CancellationToken token, std::optional<QString>* outcome)
    {
        try {
            co_await manager->startServer(project, command, token);
            *outcome = QStringLiteral("returned");
        } catch (const CancellationError&) {
            *outcome = QStringLiteral("cancelled");
        } catch (const ServerError& error) {
            *outcome = error.localizedDescription();
        }
    }

    // The pid logged by "Server process started", 0 when there is none yet.
    qint64 loggedPid() const
    {
        const QString prefix = QStringLiteral("✅ [ServerManager] Server process started (PID: ");
        const QStringList lines = log.linesStartingWith(prefix);
        return lines.isEmpty() ? 0 : lines.first().mid(prefix.size()).chopped(1).toLongLong();
    }

    QList<qint64> groups;
    QList<ServerStatus> statuses;
};

} // namespace

TEST_F(ServerGroupTest, AReplacedWrapperLeavesNoProcessOfItsGroupAlthoughItsChildIgnoresSigterm)
{
    ASSERT_EQ(start(wrapper(listener())), std::nullopt);
    const qint64 group = manager->runningProcessId();
    ASSERT_GT(group, 0);
    ASSERT_TRUE(waitUntil([&] { return loggedChild() > 0; }));
    const qint64 child = loggedChild();
    ASSERT_EQ(processInfo(child)->group, group);

    // The next start replaces the wrapper; its child listens nowhere, so no port-kill finds it.
    ASSERT_EQ(start(listener()), std::nullopt);

    EXPECT_TRUE(waitUntil([&] { return groupMembers(group).isEmpty(); }, 20s))
        << "left running: " << groupMembers(group).size();
    EXPECT_FALSE(isAlive(child));
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process %1 ignored SIGTERM, sending SIGKILL")
            .arg(group)));
}

TEST_F(ServerGroupTest, KillServerEndsTheTrackedWrappersWholeGroup)
{
    ASSERT_EQ(start(wrapper(QStringLiteral("sleep 301"))), std::nullopt);
    const qint64 group = manager->runningProcessId();
    ASSERT_TRUE(waitUntil([&] { return loggedChild() > 0; }));
    const qint64 child = loggedChild();
    // The wrapper ignores SIGTERM too (the ignored signal is inherited through exec).
    log.clear();

    killServer(*manager, port);

    EXPECT_TRUE(waitUntil([&] { return groupMembers(group).isEmpty(); }, 10s));
    EXPECT_FALSE(isAlive(child));
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process still running, sending SIGKILL")));
    EXPECT_FALSE(manager->hasRunningProcess());
}

TEST_F(ServerGroupTest, AServerThatNeverListensReturnsAfterTheTenChecks)
{
    // Timed from the tenth check's line, so that slow checks on a busy machine do not count.
    const QString lastWait =
        QStringLiteral("⏳ [ServerManager] Waiting for port %1... (attempt %2/%2)")
            .arg(port)
            .arg(ServerManager::startupAttempts);
    QElapsedTimer sinceLastCheck;
    const int sink = Log::addSink([&](Log::Stream, const QString& line) {
        if (line == lastWait) {
            sinceLastCheck.start();
        }
    });
    const auto removeSink = qScopeGuard([sink] { Log::removeSink(sink); });

    ASSERT_EQ(start(QStringLiteral("sleep 120")), std::nullopt);

    ASSERT_TRUE(sinceLastCheck.isValid()) << log.lines().join(QLatin1Char('\n')).toStdString();
    const qint64 afterLastCheckMs = sinceLastCheck.elapsed();
    RecordProperty("afterLastCheckMs", static_cast<int>(afterLastCheckMs));
    EXPECT_EQ(log.linesStartingWith(
                     QStringLiteral("⏳ [ServerManager] Waiting for port %1... (attempt ").arg(port))
                  .size(),
              ServerManager::startupAttempts);
    // After the tenth check only the time-out line and one status update: the start does not
    // go on looking for a port of the server's own (that took up to ten seconds more).
    EXPECT_LT(afterLastCheckMs, 4000);
    EXPECT_TRUE(manager->hasRunningProcess());
}

TEST_F(ServerGroupTest, ACancelledStartStopsItsServerLeavesTheStatusAndReportsNoFailure)
{
    const CancellationToken token;
    std::optional<QString> outcome;
    startWithToken(manager.get(), makeProject(folder.path(), port),
                   wrapper(QStringLiteral("sleep 302")), token, &outcome);
    ASSERT_TRUE(waitUntil([&] { return loggedPid() > 0 && loggedChild() > 0; }, 30s));
    const qint64 group = loggedPid();
    groups.append(group);
    const qint64 child = loggedChild();
    ASSERT_EQ(manager->status(), ServerStatus::starting);
    const qsizetype publishedBefore = statuses.size();

    token.cancel();

    ASSERT_TRUE(waitUntil([&] { return outcome.has_value(); }, 10s));
    EXPECT_EQ(outcome, QStringLiteral("cancelled"));
    EXPECT_TRUE(waitUntil([&] { return groupMembers(group).isEmpty(); }, 10s));
    EXPECT_FALSE(isAlive(child));
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_TRUE(log.contains(
        QStringLiteral("⏹️ [ServerManager] Start cancelled, stopping process (PID: %1)")
            .arg(group)));
    // Nothing failed, and nothing was published: the status is whoever's comes next.
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("❌")).isEmpty())
        << log.lines().join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("⏳")).size() < ServerManager::startupAttempts);
    EXPECT_EQ(statuses.size(), publishedBefore);
    EXPECT_EQ(manager->status(), ServerStatus::starting);
}

TEST_F(ServerGroupTest, AStartCancelledWhileItClearsThePortLaunchesNothing)
{
    const CancellationToken token;
    std::optional<QString> outcome;
    startWithToken(manager.get(), makeProject(folder.path(), port), QStringLiteral("sleep 303"),
                   token, &outcome);
    token.cancel();

    ASSERT_TRUE(waitUntil([&] { return outcome.has_value(); }, 30s));
    EXPECT_EQ(outcome, QStringLiteral("cancelled"));
    EXPECT_TRUE(
        log.contains(QStringLiteral("⏹️ [ServerManager] Start cancelled before launch")));
    EXPECT_EQ(loggedPid(), 0);
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_TRUE(processesRunning({QStringLiteral("sleep"), QStringLiteral("303")}).isEmpty());
}
