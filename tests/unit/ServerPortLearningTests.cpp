#include "App/AlertCoordinator.h"
#include "Controllers/ProjectSwitcher.h"
#include "Managers/ServerManager.h"

#include "ServerFixture.h"
#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/AwaitTask.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"

#include <QElapsedTimer>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// Real servers that do not listen where the project says: they listen elsewhere, on several
// ports, nowhere, or leave the listening to a process outside their group.
class ServerPortLearningTest : public ServerFixture
{
protected:
    void SetUp() override
    {
        ServerFixture::SetUp();
        QObject::connect(manager.get(), &ServerManaging::portLearned, manager.get(),
                         [this](const Project& project, int learnedPort) {
                             learned.append({project.folderPath(), learnedPort});
                         });
    }

    void TearDown() override
    {
        if (manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
        // A server started outside the child's group says where it is.
        static const QRegularExpression detached(QStringLiteral("DETACHED (\\d+)"));
        QRegularExpressionMatchIterator matches =
            detached.globalMatch(log.lines().join(QLatin1Char('\n')));
        while (matches.hasNext()) {
            reaper.add(matches.next().captured(1).toLongLong());
        }
    }

    Project project() const { return makeProject(folder.path(), port); }

    static QString elsewhere(const QStringList& options)
    {
        return QStringLiteral("python3 %1 %2")
            .arg(fixture(QStringLiteral("elsewhere_server.py")), options.join(QLatin1Char(' ')));
    }

    static QString localAddress(int port)
    {
        return QStringLiteral("http://localhost:%1/").arg(port);
    }

    // Runs a start to its end; the port it reports.
    int start(const QString& command)
    {
        const int found = TestSupport::awaitTask(startCapturingPort(command), 120s);
        if (manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
        return found;
    }

    QCoro::Task<int> startCapturingPort(QString command)
    {
        co_return co_await manager->startServer(project(), command);
    }

    QString learnedLine(int other) const
    {
        return QStringLiteral("🔎 [ServerManager] Port %1 silent; server listens on %2, using it")
            .arg(port)
            .arg(other);
    }

    QString notRespondingLine() const
    {
        return QStringLiteral(
                   "⚠️ [ServerManager] Server process running but port %1 not responding")
            .arg(port);
    }

    QStringList waitingLines() const
    {
        return log.linesStartingWith(
            QStringLiteral("⏳ [ServerManager] Waiting for port %1... (attempt ").arg(port));
    }

    // Everything a start that learned nothing leaves as it was.
    void expectNothingLearned(int reported)
    {
        EXPECT_EQ(reported, port);
        EXPECT_EQ(manager->currentPort(), port);
        EXPECT_TRUE(learned.isEmpty());
        EXPECT_TRUE(log.linesStartingWith(QStringLiteral("🔎 [ServerManager]")).isEmpty())
            << log.lines().join(QLatin1Char('\n')).toStdString();
        EXPECT_EQ(waitingLines().size(), ServerManager::startupAttempts);
        EXPECT_TRUE(log.contains(notRespondingLine()));
        EXPECT_TRUE(
            log.contains(QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(port)));
        EXPECT_EQ(manager->status(), ServerStatus::stopped);
    }

    QList<QPair<QString, int>> learned;
};

} // namespace

TEST_F(ServerPortLearningTest, OnePrintedAddressOnTheOneOtherPortListenedOnIsLearnedAtOnce)
{
    const int other = TestSupport::freePort();
    const int reported = start(elsewhere({QStringLiteral("--listen"), QString::number(other),
                                          QStringLiteral("--print"), localAddress(other)}));

    EXPECT_EQ(reported, other);
    EXPECT_EQ(log.count(learnedLine(other)), 1)
        << log.lines().join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(learned, (QList<QPair<QString, int>>{{project().folderPath(), other}}));
    // Ready before the waits ran out: no time-out line.
    EXPECT_LT(waitingLines().size(), ServerManager::startupAttempts);
    EXPECT_FALSE(log.contains(notRespondingLine()));
    // Polling moved there, and found the server.
    EXPECT_EQ(manager->currentPort(), other);
    const qsizetype learnedAt = log.lines().indexOf(learnedLine(other));
    const qsizetype polledAt = log.lines().indexOf(
        QStringLiteral("🔍 [ServerManager] Polling port %1: RUNNING ✅").arg(other));
    EXPECT_GT(polledAt, learnedAt);
    EXPECT_EQ(manager->status(), ServerStatus::running);

    // The next status update checks the learned port too.
    log.clear();
    TestSupport::awaitTask(manager->updateStatus());
    EXPECT_EQ(
        log.lines(),
        QStringList{QStringLiteral("🔍 [ServerManager] Polling port %1: RUNNING ✅").arg(other)});
}

TEST_F(ServerPortLearningTest, ASilentServerOnOneOtherPortIsLearnedOnceTheWaitsRunOut)
{
    const int other = TestSupport::freePort();
    const int reported = start(elsewhere({QStringLiteral("--listen"), QString::number(other)}));

    EXPECT_EQ(reported, other);
    EXPECT_EQ(learned, (QList<QPair<QString, int>>{{project().folderPath(), other}}));
    // Every wait, the time-out line, then the learned port.
    const QStringList lines = log.lines();
    EXPECT_EQ(waitingLines().size(), ServerManager::startupAttempts);
    const qsizetype lastWait = lines.indexOf(waitingLines().last());
    const qsizetype timedOut = lines.indexOf(notRespondingLine());
    const qsizetype learnedAt = lines.indexOf(learnedLine(other));
    EXPECT_EQ(timedOut, lastWait + 1) << lines.join(QLatin1Char('\n')).toStdString();
    EXPECT_GT(learnedAt, timedOut);
    EXPECT_EQ(log.count(learnedLine(other)), 1);
    EXPECT_EQ(manager->currentPort(), other);
    EXPECT_EQ(manager->status(), ServerStatus::running);
}

TEST_F(ServerPortLearningTest, AServerThatOpensItsPortOnlyAfterTheChecksRanOutIsNotWaitedFor)
{
    const int other = TestSupport::freePort();
    // Listens seven seconds after the last check would be due: well after the ten checks, but
    // within the time a start once went on looking.
    const double delay =
        ServerManager::startupAttempts * ServerManager::startupAttemptIntervalMs / 1000.0 + 7.0;
    QElapsedTimer elapsed;
    elapsed.start();
    const int reported = start(elsewhere({QStringLiteral("--delay"), QString::number(delay),
                                          QStringLiteral("--listen"), QString::number(other)}));

    // The start returned after the ten checks, before the server listened anywhere.
    EXPECT_LT(elapsed.elapsed(), delay * 1000) << log.lines().join(QLatin1Char('\n')).toStdString();
    expectNothingLearned(reported);
}

TEST_F(ServerPortLearningTest, AServerOnTwoOtherPortsTeachesNothing)
{
    const int first = TestSupport::freePort();
    int second = TestSupport::freePort();
    while (second == first) {
        second = TestSupport::freePort();
    }
    const int reported = start(
        elsewhere({QStringLiteral("--listen"), QString::number(first), QStringLiteral("--listen"),
                   QString::number(second), QStringLiteral("--print"), localAddress(first)}));

    expectNothingLearned(reported);
    // It does listen there: the ports were ambiguous, not missed.
    EXPECT_TRUE(checkPort(*manager, first));
    EXPECT_TRUE(checkPort(*manager, second));
}

TEST_F(ServerPortLearningTest, APrintedAddressWithNothingListeningThereTeachesNothing)
{
    const int other = TestSupport::freePort();
    const int reported = start(elsewhere({QStringLiteral("--print"), localAddress(other)}));

    expectNothingLearned(reported);
    EXPECT_TRUE(waitUntil([&] {
        return !log.linesStartingWith(QStringLiteral("📝 [Server Output]"))
                    .filter(QString::number(other))
                    .isEmpty();
    }));
    EXPECT_TRUE(manager->hasRunningProcess());
}

TEST_F(ServerPortLearningTest, AListenerOutsideTheServersProcessGroupIsIgnored)
{
    const int other = TestSupport::freePort();
    const int reported =
        start(elsewhere({QStringLiteral("--detached-listen"), QString::number(other),
                         QStringLiteral("--print"), localAddress(other)}));

    expectNothingLearned(reported);
    // Something does answer on the printed address, but not the server's own processes.
    EXPECT_TRUE(checkPort(*manager, other));
}

TEST_F(ServerPortLearningTest, TheStartServerFlowOpensTheLearnedAddress)
{
    const int other = TestSupport::freePort();
    Project site = project();
    site.customCommand = elsewhere({QStringLiteral("--listen"), QString::number(other),
                                    QStringLiteral("--print"), localAddress(other)});
    const auto presenter = std::make_shared<PreAnsweredAlertPresenter>();
    AlertCoordinator alerts(manager.get(), presenter);
    alerts.serverStartPause = 10ms;
    QStringList opened;
    alerts.openBrowserWindow = [&opened](QString url) -> QCoro::Task<> {
        opened.append(url);
        co_return;
    };
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });

    alerts.showStartServerAlert(site);
    ASSERT_TRUE(waitUntil([&] { return ended; }, 120s));
    if (manager->hasRunningProcess()) {
        reaper.add(manager->runningProcessId());
    }
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:%1").arg(other)});
    EXPECT_TRUE(log.contains(learnedLine(other)));
}

TEST_F(ServerPortLearningTest, TheProjectSwitchWaitsForAndOpensTheLearnedAddress)
{
    const int other = TestSupport::freePort();
    Project site = project();
    site.customCommand = elsewhere({QStringLiteral("--listen"), QString::number(other),
                                    QStringLiteral("--print"), localAddress(other)});
    TestSettings settings;
    FakeProjectManager projects;
    projects.setProjects({site});
    FakeBrowserManager browsers;
    ProjectSwitcher switcher(settings.get(), manager.get(), &projects, &browsers);
    switcher.checkInterval = 10ms;

    switcher.projectSelected(site);
    ASSERT_TRUE(waitUntil(
        [&] { return switcher.currentSwitchTask && switcher.currentSwitchTask->isFinished(); },
        120s));
    if (manager->hasRunningProcess()) {
        reaper.add(manager->runningProcessId());
    }
    const QString url = QStringLiteral("http://localhost:%1").arg(other);
    EXPECT_EQ(browsers.calls.first(), QStringLiteral("findExistingWindow(%1, auto)").arg(url))
        << browsers.calls.join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(browsers.calls.contains(QStringLiteral("openIncognito(%1, auto)").arg(url)));
    EXPECT_TRUE(log.contains(
        QStringLiteral("✅ [StatusBarController] Server is running on port %1").arg(other)));
    EXPECT_TRUE(log.contains(QStringLiteral("✅ [StatusBarController] Project switch complete")));
    EXPECT_EQ(manager->currentPort(), other);
}
