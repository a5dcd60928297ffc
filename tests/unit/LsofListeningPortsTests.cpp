#include "Platform/LsofListeningPorts.h"
#include "Platform/SystemTools.h"

#include "ServerTestSupport.h"
#include "support/AwaitTask.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace ServerTests;

TEST(LsofListeningPortsTest, AsksForTheGroupsListeningTcpSocketsInFieldForm)
{
    EXPECT_EQ(LsofListeningPorts::arguments(4242),
              (QStringList{QStringLiteral("-a"), QStringLiteral("-g"), QStringLiteral("4242"),
                           QStringLiteral("-iTCP"), QStringLiteral("-sTCP:LISTEN"),
                           QStringLiteral("-nP"), QStringLiteral("-Fn")}));
}

TEST(LsofListeningPortsTest, ReadsThePortsOfTheNameFields)
{
    const QByteArray output = "p812\n"
                              "f21\n"
                              "n*:4321\n"
                              "f22\n"
                              "n127.0.0.1:8080\n"
                              "p813\n"
                              "f5\n"
                              "n[::1]:5173\n"
                              "f6\n"
                              "n127.0.0.1:51000->127.0.0.1:8080\n"
                              "n*:*\n"
                              "nlocalhost:http\n"
                              "n*:70000\n";
    EXPECT_EQ(LsofListeningPorts::portsIn(output), (QSet<int>{4321, 8080, 5173}));
    EXPECT_TRUE(LsofListeningPorts::portsIn(QByteArray()).isEmpty());
}

TEST(LsofListeningPortsTest, TheRealLsofFindsTheGroupsListenerAndNoOtherGroups)
{
    if (!QFileInfo(SystemTools::lsof()).isExecutable()) {
        GTEST_SKIP() << SystemTools::lsof().toStdString() << " is not installed";
    }
    ProcessGroupReaper reaper;
    const int port = TestSupport::freePort();
    const int elsewhere = TestSupport::freePort();
    const ExternalServer server(reaper, {fixture(QStringLiteral("tcp_listener.py")),
                                         QString::number(port), QStringLiteral("--child")});
    const ExternalServer other(
        reaper, {fixture(QStringLiteral("tcp_listener.py")), QString::number(elsewhere)});

    EXPECT_EQ(TestSupport::awaitTask(
                  LsofListeningPorts::ofProcessGroup(SystemTools::lsof(), server.pid(), 10s)),
              QSet<int>{port});
}

TEST(LsofListeningPortsTest, AnLsofThatCannotRunGivesNoPortsAndSaysSo)
{
    LogCapture log;
    const QString missing = QStringLiteral("/nonexistent/lsof");
    EXPECT_TRUE(
        TestSupport::awaitTask(LsofListeningPorts::ofProcessGroup(missing, 4242, 10s)).isEmpty());
    const QStringList lines = log.linesStartingWith(
        QStringLiteral("⚠️ [ServerManager] lsof failed for process group 4242: "));
    EXPECT_EQ(lines.size(), 1) << log.lines().join(QLatin1Char('\n')).toStdString();
}

TEST(LsofListeningPortsTest, AnLsofThatHangsIsStoppedAtTheDeadline)
{
    const HungLsof hung;
    LogCapture log;
    EXPECT_TRUE(TestSupport::awaitTask(LsofListeningPorts::ofProcessGroup(hung.path(), 4242, 300ms))
                    .isEmpty());
    EXPECT_TRUE(log.contains(QStringLiteral(
        "⚠️ [ServerManager] lsof timed out after 0.3 s for process group 4242")));
    EXPECT_TRUE(
        TestSupport::waitUntil([&] { return processesRunning(hung.hungCommand()).isEmpty(); }));
}
