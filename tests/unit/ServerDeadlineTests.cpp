#include "Managers/ServerManager.h"
#include "Utilities/ChildProcess.h"

#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// Every wait of wisp's on lsof and the kill scripts ends at the deadline when lsof hangs.
class ServerDeadlineTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        port = TestSupport::freePort();
        manager = std::make_unique<ServerManager>(std::make_shared<FakeFolderAccess>());
        manager->setToolDeadline(deadline);
    }

    void TearDown() override
    {
        // Nothing wisp started for lsof is left running, and every child has been reaped.
        EXPECT_TRUE(waitUntil([this] {
            return processesRunning(hungLsof.hungCommand()).isEmpty() && zombieChildren().isEmpty();
        }));
    }

    QString lsofTimedOut() const
    {
        return QStringLiteral("⚠️ [ServerManager] lsof timed out after %1 s for port %2")
            .arg(seconds)
            .arg(port);
    }

    QString killScriptTimedOut() const
    {
        return QStringLiteral("⚠️ [ServerManager] Kill script timed out after %1 s for port %2")
            .arg(seconds)
            .arg(port);
    }

    QString polledStopped() const
    {
        return QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(port);
    }

    ScopedTemporaryDirectory temporary; // first: outlives everything that writes there
    QTemporaryDir folder;
    HungLsof hungLsof;
    ScopedLsof lsofOverride{hungLsof.path()};
    std::chrono::milliseconds deadline{1000};
    QString seconds = QStringLiteral("1");
    int port = 0;
    ProcessGroupReaper reaper;
    std::unique_ptr<ServerManager> manager;
    LogCapture log;
};

} // namespace

TEST_F(ServerDeadlineTest, DefaultDeadlineForLsofAndTheKillScriptsIsTenSeconds)
{
    const ServerManager fresh(std::make_shared<FakeFolderAccess>());
    EXPECT_EQ(fresh.toolDeadline(), std::chrono::milliseconds(10'000));
    EXPECT_EQ(ServerManager::defaultToolDeadline, std::chrono::milliseconds(10'000));
}

TEST_F(ServerDeadlineTest, StatusUpdateWithAHungLsofEndsAtTheDeadlineAndPublishesStopped)
{
    // Watch this test's port; its own update ends first.
    manager->updatePollingPort(port);
    ASSERT_TRUE(waitUntil([&] { return log.contains(polledStopped()); }, 30s));
    log.clear();

    QElapsedTimer elapsed;
    elapsed.start();
    QCoro::waitFor(manager->updateStatus());

    // Qt's coarse timers may fire up to 5% early.
    EXPECT_GE(elapsed.elapsed(), deadline.count() * 95 / 100);
    EXPECT_LT(elapsed.elapsed(), deadline.count() + ChildProcess::reapGrace.count() + 8000);
    EXPECT_EQ(log.lines(), (QStringList{lsofTimedOut(), polledStopped()}));
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_TRUE(processesRunning(hungLsof.hungCommand()).isEmpty());
}

TEST_F(ServerDeadlineTest, CheckPortWithAHungLsofReadsAsFreeAfterTheDeadline)
{
    EXPECT_FALSE(checkPort(*manager, port));
    EXPECT_EQ(log.lines(), QStringList{lsofTimedOut()});
}

TEST_F(ServerDeadlineTest, KillServerWithAHungLsofEndsTheKillScriptAndItsLsofAtTheDeadline)
{
    manager->updatePollingPort(port);
    ASSERT_TRUE(waitUntil([&] { return log.contains(polledStopped()); }, 30s));
    log.clear();
    const int launchedBefore = hungLsof.launches();

    QElapsedTimer elapsed;
    elapsed.start();
    killServer(*manager, port);

    // The kill script's deadline and the status update's own.
    EXPECT_GE(elapsed.elapsed(), 2 * deadline.count() * 95 / 100);
    EXPECT_LT(elapsed.elapsed(), 2 * (deadline.count() + ChildProcess::reapGrace.count()) + 8000);
    EXPECT_EQ(log.lines(),
              (QStringList{
                  QStringLiteral("🛑 [ServerManager] killServer called for port %1").arg(port),
                  QStringLiteral("🛑 [ServerManager] Attempting to kill processes on port %1")
                      .arg(port),
                  killScriptTimedOut(),
                  lsofTimedOut(),
                  polledStopped(),
                  QStringLiteral("✅ [ServerManager] killServer completed for port %1").arg(port),
              }));
    // The lsof the shell ran was in the shell's group and went with it.
    EXPECT_TRUE(processesRunning(hungLsof.hungCommand()).isEmpty());
    EXPECT_EQ(hungLsof.launches() - launchedBefore, 2);
}

TEST_F(ServerDeadlineTest, StartServerWithAHungLsofEndsAfterTheDeadlinesOfItsChecks)
{
    deadline = std::chrono::milliseconds(250);
    seconds = QStringLiteral("0.25");
    manager->setToolDeadline(deadline);

    QElapsedTimer elapsed;
    elapsed.start();
    // Runs, but nobody can tell whether it listens.
    const auto error = startReaped(*manager, makeProject(folder.path(), port),
                                   QStringLiteral("sleep 600"), reaper);

    EXPECT_EQ(error, std::nullopt);
    // The kill script, ten start-up checks with their pauses, the final update.
    const qint64 bound = 12 * (deadline.count() + ChildProcess::reapGrace.count()) +
                         ServerManager::startupAttempts * ServerManager::startupAttemptIntervalMs +
                         20000;
    EXPECT_LT(elapsed.elapsed(), bound);
    EXPECT_EQ(log.count(killScriptTimedOut()), 1);
    EXPECT_EQ(log.count(lsofTimedOut()), ServerManager::startupAttempts + 1);
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Server process running but port %1 not responding")
            .arg(port)));
    // The launch was not held up: the procedure ended as for a shell that could not be run.
    const QStringList lines = log.lines();
    EXPECT_LT(lines.indexOf(killScriptTimedOut()),
              lines.indexOf(QStringLiteral("✅ [ServerManager] Server process started (PID: %1)")
                                .arg(manager->runningProcessId())));
    EXPECT_FALSE(log.contains(
        QStringLiteral("✅ [ServerManager] Successfully terminated process on port %1").arg(port)));
    EXPECT_EQ(lines.last(), polledStopped());
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_TRUE(manager->hasRunningProcess());
}

TEST_F(ServerDeadlineTest, PollingWithAHungLsofRunsOneLsofAtATime)
{
    // Longer than two ticks of the polling timer.
    deadline = std::chrono::milliseconds(5000);
    seconds = QStringLiteral("5");
    manager->setToolDeadline(deadline);

    manager->startPolling(port);

    int mostAtOnce = 0;
    const bool timedOutTwice = waitUntil(
        [&] {
            mostAtOnce = std::max(
                mostAtOnce, static_cast<int>(processesRunning(hungLsof.hungCommand()).size()));
            return log.count(lsofTimedOut()) >= 2;
        },
        60s);
    manager->invalidatePollingTimer();

    ASSERT_TRUE(timedOutTwice);
    EXPECT_EQ(mostAtOnce, 1);
    // The ticks that found an update under way started nothing: one launch per update, the
    // third at most just begun.
    EXPECT_LE(hungLsof.launches(), 3);
    EXPECT_EQ(log.count(polledStopped()), log.count(lsofTimedOut()));
    // Let the update that may have just begun end before the manager goes.
    EXPECT_TRUE(waitUntil([&] { return processesRunning(hungLsof.hungCommand()).isEmpty(); }, 30s));
}

TEST_F(ServerDeadlineTest, UpdatesAskedForTogetherRunOneAfterTheOther)
{
    deadline = std::chrono::milliseconds(500);
    seconds = QStringLiteral("0.5");
    manager->setToolDeadline(deadline);
    manager->updatePollingPort(port);
    ASSERT_TRUE(waitUntil([&] { return log.contains(polledStopped()); }, 30s));
    log.clear();
    const int launchedBefore = hungLsof.launches();

    std::vector<QCoro::Task<>> updates;
    updates.push_back(manager->updateStatus());
    updates.push_back(manager->updateStatus());
    updates.push_back(manager->updateStatus());
    int mostAtOnce = 0;
    const bool allDone = waitUntil(
        [&] {
            mostAtOnce = std::max(
                mostAtOnce, static_cast<int>(processesRunning(hungLsof.hungCommand()).size()));
            return log.count(polledStopped()) == 3;
        },
        60s);

    ASSERT_TRUE(allDone);
    EXPECT_EQ(mostAtOnce, 1);
    EXPECT_EQ(hungLsof.launches() - launchedBefore, 3);
    EXPECT_EQ(log.lines(), (QStringList{lsofTimedOut(), polledStopped(), lsofTimedOut(),
                                        polledStopped(), lsofTimedOut(), polledStopped()}));
}

TEST_F(ServerDeadlineTest, UpdatesEndQuietlyWhenTheManagerGoes)
{
    manager->updatePollingPort(port);
    log.clear();
    auto waiting = manager->updateStatus();

    manager.reset();

    // The update under way ends at its deadline and, its manager gone, publishes nothing; the
    // waiting one finds the manager gone.
    EXPECT_TRUE(waitUntil([&] { return waiting.isReady() && log.contains(lsofTimedOut()); }, 30s));
    EXPECT_EQ(log.lines(), (QStringList{lsofTimedOut()}));
    EXPECT_EQ(hungLsof.launches(), 1);
}
