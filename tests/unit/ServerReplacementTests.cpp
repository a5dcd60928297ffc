#include "Managers/ServerManager.h"

#include "ServerFixture.h"
#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <optional>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// A server whose shutdown hangs: SIGTERM closes its port but does not end it. The port-kill of
// the next start then finds the port free, and the child itself is left to the replacement.
class ServerReplacementTest : public ServerFixture
{
protected:
    std::optional<QString> start()
    {
        return startReaped(*manager, makeProject(folder.path(), port),
                           QStringLiteral("python3 %1 %2 --unlisten-on-term")
                               .arg(fixture(QStringLiteral("tcp_listener.py")))
                               .arg(port),
                           reaper);
    }

    // Gone for good: exited and reaped, not even a zombie left.
    static bool isGone(qint64 pid) { return !processInfo(pid).has_value(); }
};

} // namespace

TEST_F(ServerReplacementTest, ReplacedChildIgnoringSigtermIsKilledASecondLaterAndReaped)
{
    ASSERT_EQ(start(), std::nullopt);
    const qint64 first = manager->runningProcessId();
    ASSERT_GT(first, 0);

    // The replacement happens right before the new launch is logged; the reaped child is
    // logged when it is gone. Timed between the two lines, not around start(), whose own
    // start-up checks take longer on a busy machine.
    const QString reaped =
        QStringLiteral("⚠️ [ServerManager] Process terminated (PID: %1, status: 9)").arg(first);
    QElapsedTimer sinceReplaced;
    std::optional<qint64> tookMs;
    const int sink = Log::addSink([&](Log::Stream, const QString& line) {
        if (line.startsWith(QStringLiteral("🚀 [ServerManager] Starting server: ")) &&
            !sinceReplaced.isValid()) {
            sinceReplaced.start();
        } else if (line == reaped && sinceReplaced.isValid() && !tookMs) {
            tookMs = sinceReplaced.elapsed();
        }
    });
    const auto removeSink = qScopeGuard([sink] { Log::removeSink(sink); });
    const auto error = start();
    ASSERT_TRUE(waitUntil([&] { return isGone(first) && tookMs.has_value(); }));

    EXPECT_EQ(error, std::nullopt);
    EXPECT_LT(*tookMs, 2000);
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process %1 ignored SIGTERM, sending SIGKILL")
            .arg(first)));
    EXPECT_TRUE(log.contains(reaped));
    EXPECT_NE(manager->runningProcessId(), first);
    EXPECT_TRUE(zombieChildren().isEmpty());
}

TEST_F(ServerReplacementTest, ChildLetGoByAManagerThatGoesAwayIsKilledASecondLater)
{
    ASSERT_EQ(start(), std::nullopt);
    const qint64 pid = manager->runningProcessId();

    manager.reset();

    EXPECT_TRUE(waitUntil([&] { return isGone(pid); }));
    EXPECT_TRUE(log.contains(
        QStringLiteral("⚠️ [ServerManager] Process %1 ignored SIGTERM, sending SIGKILL")
            .arg(pid)));
}

TEST_F(ServerReplacementTest, FiftyReplacementsLeaveNoDescriptorsOrProcessesBehind)
{
    // Warm-up: one tracked child with everything it holds, and whatever Qt sets up once.
    ASSERT_EQ(start(), std::nullopt);
    const qint64 warmUp = manager->runningProcessId();
    ASSERT_EQ(start(), std::nullopt);
    ASSERT_TRUE(waitUntil([&] { return isGone(warmUp) && zombieChildren().isEmpty(); }));
    QList<qint64> replaced;
    const int descriptors = TestSupport::openFileDescriptorCount();

    for (int round = 0; round < 50; ++round) {
        replaced.append(manager->runningProcessId());
        ASSERT_EQ(start(), std::nullopt) << "round " << round;
    }

    EXPECT_TRUE(waitUntil(
        [&] {
            for (const qint64 pid : std::as_const(replaced)) {
                if (!isGone(pid)) {
                    return false;
                }
            }
            return zombieChildren().isEmpty();
        },
        30s));
    EXPECT_TRUE(manager->hasRunningProcess());
    // No growth (see the thousand port checks for why not equality).
    EXPECT_TRUE(
        waitUntil([&] { return TestSupport::openFileDescriptorCount() <= descriptors; }, 30s))
        << TestSupport::openFileDescriptorCount() << " descriptors, " << descriptors << " before";
}
