#include "Managers/ServerManager.h"
#include "Platform/ListeningPorts.h"
#include "Platform/linux/TcpSocketTable.h"

#include "fakes/FakeFolderAccess.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"
#include "unit/ServerTestSupport.h"

#include <QFileInfo>
#include <QHostAddress>
#include <QTcpServer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <string>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

const std::string header =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout "
    "inode\n";

// One table line: local and remote addresses as the kernel writes them, and the state.
std::string entry(const std::string& local, const std::string& remote, const std::string& state)
{
    return "   0: " + local + " " + remote + " " + state +
           " 00000000:00000000 00:00000000 00000000  1000        0 4242 1 0000000000000000 100 0 "
           "0 10 0\n";
}

// Points the tables at stand-ins while it exists; the kernel's own afterwards, with the
// unreadable table's log line allowed once more.
class ScopedTables
{
public:
    ScopedTables(const QString& ipv4, const QString& ipv6)
    {
        TcpSocketTable::setPaths(ipv4, ipv6);
        ListeningPorts::setReadingKernel(true);
    }
    ~ScopedTables()
    {
        TcpSocketTable::setPaths(QString(), QString());
        ListeningPorts::setReadingKernel(true);
    }
    ScopedTables(const ScopedTables&) = delete;
    ScopedTables& operator=(const ScopedTables&) = delete;
};

QString unreadable(const QString& what)
{
    return QStringLiteral("⚠️ [ServerManager] Cannot read %1; checking ports with lsof")
        .arg(what);
}

} // namespace

TEST(TcpSocketTable, AListenEntryOnThePortListens)
{
    const std::string table = header + entry("0100007F:1F90", "00000000:0000", "0A");
    EXPECT_TRUE(TcpSocketTable::looksLikeTable(table));
    EXPECT_TRUE(TcpSocketTable::listsListener(table, 8080));
    EXPECT_FALSE(TcpSocketTable::listsListener(table, 8081));
}

TEST(TcpSocketTable, OtherStatesAndRemotePortsDoNotCount)
{
    // Established (01) and closing (07) sockets on 8080, and a listener whose remote part holds
    // 8080.
    const std::string table = header + entry("0100007F:1F90", "0100007F:D431", "01") +
                              entry("0100007F:1F90", "00000000:0000", "07") +
                              entry("0100007F:0BB8", "00000000:1F90", "0A");
    EXPECT_FALSE(TcpSocketTable::listsListener(table, 8080));
    EXPECT_TRUE(TcpSocketTable::listsListener(table, 3000));
}

TEST(TcpSocketTable, Ipv6AndHighPortsAreRead)
{
    // ::ffff:127.0.0.1 port 65535, and :: port 40000 in lower-case hex.
    const std::string table = header +
                              entry("0000000000000000FFFF00000100007F:FFFF",
                                    "00000000000000000000000000000000:0000", "0A") +
                              entry("00000000000000000000000000000000:9c40",
                                    "00000000000000000000000000000000:0000", "0a");
    EXPECT_TRUE(TcpSocketTable::listsListener(table, 65535));
    EXPECT_TRUE(TcpSocketTable::listsListener(table, 40000));
    EXPECT_FALSE(TcpSocketTable::listsListener(table, 0xFFFF0));
}

TEST(TcpSocketTable, TheHeaderAndBrokenLinesListNothing)
{
    EXPECT_FALSE(TcpSocketTable::listsListener(header, 8080));
    EXPECT_FALSE(TcpSocketTable::listsListener(header + "   0: 0100007F:1F90\n", 8080));
    EXPECT_FALSE(TcpSocketTable::listsListener(header + "garbage 1F90 0A\n\n\n", 8080));
    EXPECT_FALSE(TcpSocketTable::listsListener("", 8080));
    // A line without a header is not taken for an entry.
    EXPECT_FALSE(
        TcpSocketTable::listsListener(entry("0100007F:1F90", "00000000:0000", "0A"), 8080));
    EXPECT_FALSE(TcpSocketTable::looksLikeTable("Inter-|   Receive\n"));
    EXPECT_FALSE(TcpSocketTable::looksLikeTable(""));
}

TEST(TcpSocketTable, TheKernelsTablesAreReadByDefault)
{
    EXPECT_EQ(TcpSocketTable::ipv4Path(), QByteArray("/proc/net/tcp"));
    EXPECT_EQ(TcpSocketTable::ipv6Path(), QByteArray("/proc/net/tcp6"));
}

TEST(TcpSocketTable, StandInTablesAreWhatTheCheckReads)
{
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    TestSupport::writeFile(
        folder.path(), QStringLiteral("tcp"),
        QByteArray::fromStdString(header + entry("0100007F:1F90", "00000000:0000", "0A")));
    TestSupport::writeFile(
        folder.path(), QStringLiteral("tcp6"),
        QByteArray::fromStdString(header + entry("00000000000000000000000000000001:0BB8",
                                                 "00000000000000000000000000000000:0000", "0A")));
    const ScopedTables tables(folder.filePath(QStringLiteral("tcp")),
                              folder.filePath(QStringLiteral("tcp6")));
    LogCapture log;

    EXPECT_EQ(ListeningPorts::listenerOn(8080), std::optional<bool>(true));
    EXPECT_EQ(ListeningPorts::listenerOn(3000), std::optional<bool>(true));
    EXPECT_EQ(ListeningPorts::listenerOn(5173), std::optional<bool>(false));
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST(TcpSocketTable, AMissingIpv6TableIsAKernelWithoutIpv6)
{
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    TestSupport::writeFile(
        folder.path(), QStringLiteral("tcp"),
        QByteArray::fromStdString(header + entry("0100007F:1F90", "00000000:0000", "0A")));
    const ScopedTables tables(folder.filePath(QStringLiteral("tcp")),
                              folder.filePath(QStringLiteral("missing")));
    LogCapture log;

    EXPECT_EQ(ListeningPorts::listenerOn(8080), std::optional<bool>(true));
    EXPECT_EQ(ListeningPorts::listenerOn(3000), std::optional<bool>(false));
    EXPECT_TRUE(log.lines().isEmpty());
}

// The fallback, seen through the status updates: the same answers, from lsof, and one line.
class UnreadableSocketTable : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!QFileInfo(SystemTools::lsof()).isExecutable()) {
            GTEST_SKIP() << SystemTools::lsof().toStdString() << " is not installed";
        }
        ASSERT_TRUE(folder.isValid());
        port = TestSupport::freePort();
    }

    QString polled(bool running) const
    {
        return QStringLiteral("🔍 [ServerManager] Polling port %1: %2")
            .arg(port)
            .arg(running ? QStringLiteral("RUNNING ✅") : QStringLiteral("STOPPED ❌"));
    }

    ScopedTemporaryDirectory temporary;
    QTemporaryDir folder;
    int port = 0;
};

TEST_F(UnreadableSocketTable, AMissingTableFallsBackToLsofWithOneLogLine)
{
    const QString missing = folder.filePath(QStringLiteral("no-such-table"));
    const ScopedTables tables(missing, QString());
    QTcpServer listener;
    ASSERT_TRUE(listener.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));
    ServerManager manager(std::make_shared<FakeFolderAccess>());
    manager.setPollingInterval(std::chrono::milliseconds(50));
    LogCapture log;

    manager.startPolling(port);
    ASSERT_TRUE(waitUntil([&] { return log.count(polled(true)) >= 3; }, 30s));
    manager.invalidatePollingTimer();

    const QStringList lines = log.lines();
    EXPECT_EQ(
        lines.mid(0, 4),
        (QStringList{QStringLiteral("🚀 [ServerManager] Starting polling on port %1").arg(port),
                     unreadable(missing + QStringLiteral(": No such file or directory")),
                     polled(true), polled(true)}));
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("⚠️")).size(), 1);
    EXPECT_EQ(manager.status(), ServerStatus::running);

    // lsof still answers "stopped" once the listener has gone.
    listener.close();
    EXPECT_FALSE(checkPort(manager, port));
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("⚠️")).size(), 1);
}

TEST_F(UnreadableSocketTable, AFolderInPlaceOfTheIpv6TableFallsBackToLsof)
{
    const ScopedTables tables(QString(), folder.path());
    ServerManager manager(std::make_shared<FakeFolderAccess>());
    LogCapture log;

    EXPECT_FALSE(checkPort(manager, port));
    QTcpServer listener;
    ASSERT_TRUE(listener.listen(QHostAddress::LocalHost, static_cast<quint16>(port)));
    EXPECT_TRUE(checkPort(manager, port));

    EXPECT_EQ(log.lines(),
              QStringList{unreadable(folder.path() + QStringLiteral(": Is a directory"))});
}

TEST_F(UnreadableSocketTable, TextThatIsNoTableFallsBackToLsof)
{
    TestSupport::writeFile(folder.path(), QStringLiteral("tcp"), "not a table\n");
    const QString standIn = folder.filePath(QStringLiteral("tcp"));
    const ScopedTables tables(standIn, QString());
    ServerManager manager(std::make_shared<FakeFolderAccess>());
    LogCapture log;

    EXPECT_FALSE(checkPort(manager, port));

    EXPECT_EQ(log.lines(),
              QStringList{unreadable(standIn + QStringLiteral(": not a socket table"))});
}
