#include "Platform/ListeningPorts.h"

#include "support/AwaitTask.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"
#include "unit/ServerTestSupport.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace ServerTests;

namespace {

QSet<int> listeningPortsOf(qint64 group)
{
    return TestSupport::awaitTask(ListeningPorts::ofProcessGroup(group, 10s));
}

QStringList listener(int port)
{
    return {fixture(QStringLiteral("tcp_listener.py")), QString::number(port)};
}

} // namespace

TEST(ListeningPortsTest, AGroupThatListensOnOnePortHasThatPort)
{
    ProcessGroupReaper reaper;
    const int port = TestSupport::freePort();
    const ExternalServer server(reaper, listener(port));

    // The fixture leads a session of its own, so its group is its pid.
    EXPECT_EQ(listeningPortsOf(server.pid()), QSet<int>{port});
}

TEST(ListeningPortsTest, EveryMemberOfTheGroupCountsAndOtherGroupsDoNot)
{
    ProcessGroupReaper reaper;
    const int port = TestSupport::freePort();
    const int elsewhere = TestSupport::freePort();
    // A wrapper whose child listens, as npm's child does.
    const ExternalServer wrapper(
        reaper, {QStringLiteral("-c"),
                 QStringLiteral("import subprocess, sys; "
                                "p = subprocess.Popen([sys.executable, '%1', '%2']); p.wait()")
                     .arg(fixture(QStringLiteral("tcp_listener.py")))
                     .arg(port)});
    const ExternalServer other(reaper, listener(elsewhere));

    EXPECT_EQ(listeningPortsOf(wrapper.pid()), QSet<int>{port});
    EXPECT_EQ(listeningPortsOf(other.pid()), QSet<int>{elsewhere});
}

TEST(ListeningPortsTest, ListenersOnBothAddressFamiliesCountAndConnectionsDoNot)
{
    QTcpServer version4;
    QTcpServer version6;
    ASSERT_TRUE(version4.listen(QHostAddress::LocalHost, 0));
    if (!version6.listen(QHostAddress::LocalHostIPv6, 0)) {
        GTEST_SKIP() << "no IPv6 loopback here";
    }
    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, version4.serverPort());
    ASSERT_TRUE(client.waitForConnected(10000));

    // This test's own group: it may hold other listeners of the test runner too.
    const QSet<int> ports = listeningPortsOf(::getpgrp());
    EXPECT_TRUE(ports.contains(version4.serverPort()));
    EXPECT_TRUE(ports.contains(version6.serverPort()));
    EXPECT_FALSE(ports.contains(client.localPort()));
}

TEST(ListeningPortsTest, AGroupWithoutListenersOrWithoutMembersHasNone)
{
    ProcessGroupReaper reaper;
    // Holds no socket at all.
    const ExternalServer quiet(
        reaper, {QStringLiteral("-c"), QStringLiteral("import time; print('READY', flush=True); "
                                                      "time.sleep(300)")});
    EXPECT_TRUE(listeningPortsOf(quiet.pid()).isEmpty());
    EXPECT_TRUE(listeningPortsOf(0).isEmpty());
    EXPECT_TRUE(listeningPortsOf(-1).isEmpty());
    // Past the largest process id the kernel hands out.
    EXPECT_TRUE(listeningPortsOf(4194305).isEmpty());
}
