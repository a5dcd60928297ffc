#include "Managers/ServerManager.h"
#include "Platform/SystemTools.h"

#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QHostAddress>
#include <QPointer>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

class ServerPollingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        port = TestSupport::freePort();
        manager = std::make_unique<ServerManager>(std::make_shared<FakeFolderAccess>());
        QObject::connect(manager.get(), &ServerManaging::statusChanged, manager.get(),
                         [this](ServerStatus status) { statuses.append(status); });
        QObject::connect(manager.get(), &ServerManaging::currentPortChanged, manager.get(),
                         [this](int changed) { ports.append(changed); });
    }

    QString polled(int polledPort, bool running) const
    {
        return QStringLiteral("🔍 [ServerManager] Polling port %1: %2")
            .arg(polledPort)
            .arg(running ? QStringLiteral("RUNNING ✅") : QStringLiteral("STOPPED ❌"));
    }

    ScopedTemporaryDirectory temporary; // first: outlives everything that writes there
    int port = 0;
    std::unique_ptr<ServerManager> manager;
    QList<ServerStatus> statuses;
    QList<int> ports;
    LogCapture log;
};

} // namespace

TEST_F(ServerPollingTest, StatusIsUnknownBeforeTheFirstUpdate)
{
    manager->startPolling(port);

    // The first update is under way but has not finished.
    EXPECT_EQ(manager->status(), ServerStatus::unknown);
    EXPECT_TRUE(statuses.isEmpty());
    EXPECT_EQ(manager->currentPort(), port);
    EXPECT_EQ(ports, QList<int>{port});
    EXPECT_EQ(
        log.lines(),
        QStringList{QStringLiteral("🚀 [ServerManager] Starting polling on port %1").arg(port)});

    ASSERT_TRUE(waitUntil([&] { return !statuses.isEmpty(); }));
    EXPECT_EQ(statuses.first(), ServerStatus::stopped);
    EXPECT_EQ(manager->status(), ServerStatus::stopped);
    EXPECT_TRUE(log.contains(polled(port, false)));
}

TEST_F(ServerPollingTest, TimerRepeatsEveryTwoSecondsAndPublishesEvenWhenUnchanged)
{
    manager->startPolling(port);

    QTimer* timer = manager->pollingTimer();
    ASSERT_NE(timer, nullptr);
    EXPECT_TRUE(timer->isActive());
    EXPECT_FALSE(timer->isSingleShot());
    EXPECT_EQ(timer->interval(), 2000);

    // The immediate update and one timer tick, both publishing the same value.
    ASSERT_TRUE(waitUntil([&] { return statuses.size() >= 2; }, 15s));
    EXPECT_EQ(statuses.mid(0, 2),
              (QList<ServerStatus>{ServerStatus::stopped, ServerStatus::stopped}));
    EXPECT_GE(log.count(polled(port, false)), 2);
}

TEST_F(ServerPollingTest, ShortenedIntervalAppliesToTheNextPolling)
{
    manager->startPolling(port);
    manager->setPollingInterval(std::chrono::milliseconds(50));
    EXPECT_EQ(manager->pollingTimer()->interval(), 2000);

    manager->startPolling(port);
    ASSERT_NE(manager->pollingTimer(), nullptr);
    EXPECT_EQ(manager->pollingTimer()->interval(), 50);
    // The immediate update and at least three ticks, well within two seconds.
    ASSERT_TRUE(waitUntil([&] { return log.count(polled(port, false)) >= 4; }, 15s));
}

TEST_F(ServerPollingTest, ListenerOnThePortReadsAsRunning)
{
    QTcpServer listener;
    ASSERT_TRUE(listener.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));

    manager->startPolling(port);

    ASSERT_TRUE(waitUntil([&] { return !statuses.isEmpty(); }));
    EXPECT_EQ(statuses.first(), ServerStatus::running);
    EXPECT_TRUE(log.contains(polled(port, true)));
}

TEST_F(ServerPollingTest, EstablishedButNotListeningConnectionReadsAsStopped)
{
    // Accept one connection on the port, then stop listening: the connection stays open.
    QTcpServer listener;
    ASSERT_TRUE(listener.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    ASSERT_TRUE(waitUntil([&] {
        return client.state() == QAbstractSocket::ConnectedState &&
               listener.hasPendingConnections();
    }));
    QTcpSocket* accepted = listener.nextPendingConnection();
    ASSERT_NE(accepted, nullptr);
    listener.close();

    // lsof does see a TCP connection on the port...
    QProcess anyState;
    anyState.start(SystemTools::lsof(), {QStringLiteral("-i"), QStringLiteral("TCP:%1").arg(port),
                                         QStringLiteral("-t")});
    ASSERT_TRUE(anyState.waitForFinished(30000));
    EXPECT_FALSE(anyState.readAllStandardOutput().trimmed().isEmpty());

    // ...but nothing listens.
    EXPECT_FALSE(checkPort(*manager, port));
    manager->updatePollingPort(port);
    ASSERT_TRUE(waitUntil([&] { return !statuses.isEmpty(); }));
    EXPECT_EQ(statuses.first(), ServerStatus::stopped);
    EXPECT_EQ(client.state(), QAbstractSocket::ConnectedState);
}

TEST_F(ServerPollingTest, UpdatePollingPortMovesTheNextTickWithoutANewTimer)
{
    const int otherPort = TestSupport::freePort();
    QTcpServer listener;
    ASSERT_TRUE(listener.listen(QHostAddress::LocalHost, static_cast<quint16>(otherPort)));

    manager->startPolling(port);
    const QPointer<QTimer> timer = manager->pollingTimer();
    ASSERT_TRUE(waitUntil([&] { return log.contains(polled(port, false)); }));

    manager->updatePollingPort(otherPort);

    EXPECT_EQ(manager->currentPort(), otherPort);
    EXPECT_EQ(ports, (QList<int>{port, otherPort}));
    EXPECT_TRUE(log.contains(
        QStringLiteral("🔄 [ServerManager] Switching polling to port %1").arg(otherPort)));
    // The switch's own update, then the timer's next tick, both on the new port.
    ASSERT_TRUE(waitUntil([&] { return log.count(polled(otherPort, true)) >= 2; }, 15s));
    EXPECT_EQ(manager->status(), ServerStatus::running);
    EXPECT_FALSE(timer.isNull());
    EXPECT_EQ(manager->pollingTimer(), timer.data());
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(log.count(QStringLiteral("🚀 [ServerManager] Starting polling on port %1").arg(port)),
              1);
}

TEST_F(ServerPollingTest, StartPollingAgainReplacesTheTimer)
{
    manager->startPolling(port);
    const QPointer<QTimer> first = manager->pollingTimer();
    manager->startPolling(port);

    EXPECT_TRUE(first.isNull());
    ASSERT_NE(manager->pollingTimer(), nullptr);
    EXPECT_TRUE(manager->pollingTimer()->isActive());
}

TEST_F(ServerPollingTest, InvalidatePollingTimerStopsAndDropsIt)
{
    manager->startPolling(port);
    const QPointer<QTimer> timer = manager->pollingTimer();

    manager->invalidatePollingTimer();

    EXPECT_EQ(manager->pollingTimer(), nullptr);
    EXPECT_TRUE(timer.isNull());
}

TEST_F(ServerPollingTest, MissingLsofLogsTheFailureAndPublishesStoppedOnEveryUpdate)
{
    // Something does listen, so only the missing tool can make the result "stopped".
    QTcpServer listener;
    ASSERT_TRUE(listener.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));
    const QString missing = QStringLiteral("/nonexistent/wisp-test/lsof");
    const ScopedLsof missingLsof(missing);
    QProcess probe;
    probe.start(missing, {});
    ASSERT_FALSE(probe.waitForStarted());
    const QString failure = QStringLiteral("⚠️ [ServerManager] lsof failed for port %1: %2")
                                .arg(port)
                                .arg(probe.errorString());

    manager->startPolling(port);

    ASSERT_TRUE(waitUntil([&] { return statuses.size() >= 2; }, 15s));
    EXPECT_EQ(statuses.mid(0, 2),
              (QList<ServerStatus>{ServerStatus::stopped, ServerStatus::stopped}));
    EXPECT_GE(log.count(failure), 2) << log.lines().join('\n').toStdString();
    EXPECT_GE(log.count(polled(port, false)), 2);
    EXPECT_FALSE(checkPort(*manager, port));
}

TEST_F(ServerPollingTest, ThousandPortChecksLeakNoDescriptorsAndLeaveNoZombies)
{
    // A free port: lsof answers fastest when it finds nothing (a match costs it name lookups).
    // Warm up whatever Qt sets up once for child processes.
    ASSERT_FALSE(checkPort(*manager, port));
    const int descriptors = TestSupport::openFileDescriptorCount();

    // Four checks in flight at a time, as overlapping updates would be.
    constexpr int total = 1000;
    constexpr int inFlight = 4;
    int finished = 0;
    int listening = 0;
    for (int batch = 0; batch < total / inFlight; ++batch) {
        std::vector<QCoro::Task<bool>> checks;
        for (int i = 0; i < inFlight; ++i) {
            checks.push_back(manager->checkPort(port));
        }
        for (auto& check : checks) {
            listening += QCoro::waitFor(check) ? 1 : 0;
            ++finished;
        }
    }

    EXPECT_EQ(finished, total);
    EXPECT_EQ(listening, 0);
    // No growth. Run with other tests in one process, descriptors that an earlier test's
    // objects close late may go meanwhile.
    EXPECT_LE(TestSupport::openFileDescriptorCount(), descriptors);
    EXPECT_TRUE(waitUntil([] { return zombieChildren().isEmpty(); }));
}
