#include "Managers/ServerLogFolder.h"

#include "ServerTestSupport.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

using Channel = ServerLogFolder::Channel;

// The files a start on `port` leaves, with `writer` as the recorded process id (none when
// empty) and `size` bytes of output.
void leaveFiles(int port, const QByteArray& writer, qint64 size = 10)
{
    QString error;
    ASSERT_TRUE(ServerLogFolder::prepare(&error)) << error.toStdString();
    for (const Channel channel : {Channel::standardOutput, Channel::standardError}) {
        QFile file(ServerLogFolder::filePath(port, channel));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(size, 'o'));
    }
    if (!writer.isEmpty()) {
        QFile record(ServerLogFolder::writerFilePath(port));
        ASSERT_TRUE(record.open(QIODevice::WriteOnly));
        record.write(writer);
    }
}

bool hasFiles(int port)
{
    return QFileInfo::exists(ServerLogFolder::filePath(port, Channel::standardOutput)) &&
           QFileInfo::exists(ServerLogFolder::filePath(port, Channel::standardError)) &&
           QFileInfo::exists(ServerLogFolder::writerFilePath(port));
}

bool hasNoFiles(int port)
{
    return !QFileInfo::exists(ServerLogFolder::filePath(port, Channel::standardOutput)) &&
           !QFileInfo::exists(ServerLogFolder::filePath(port, Channel::standardError)) &&
           !QFileInfo::exists(ServerLogFolder::writerFilePath(port));
}

qint64 outputSize(int port)
{
    return QFileInfo(ServerLogFolder::filePath(port, Channel::standardOutput)).size();
}

// The id of a process that has exited and been reaped.
qint64 goneProcessId()
{
    QProcess process;
    process.start(QStringLiteral("/bin/true"), {});
    EXPECT_TRUE(process.waitForStarted(10000));
    const qint64 pid = process.processId();
    EXPECT_TRUE(process.waitForFinished(10000));
    return pid;
}

// A process in a session of its own that stays until it goes out of scope.
class LiveWriter
{
public:
    explicit LiveWriter(ProcessGroupReaper& reaper,
                        const QString& script = QStringLiteral("read x"))
    {
        process.setProgram(QStringLiteral("/bin/sh"));
        process.setArguments({QStringLiteral("-c"), script});
        process.setChildProcessModifier([] { ::setsid(); });
        process.start();
        EXPECT_TRUE(process.waitForStarted(10000));
        startedPid = process.processId();
        reaper.add(startedPid);
    }
    ~LiveWriter()
    {
        process.closeWriteChannel();
        if (!process.waitForFinished(10000)) {
            process.kill();
            process.waitForFinished(10000);
        }
    }
    LiveWriter(const LiveWriter&) = delete;
    LiveWriter& operator=(const LiveWriter&) = delete;

    // Kept from the start: a finished QProcess no longer knows it.
    QByteArray pid() const { return QByteArray::number(startedPid); }

    QProcess process;

private:
    qint64 startedPid = 0;
};

} // namespace

TEST(ServerLogFolder, FilesOfServersThatAreGoneAreRemovedAtTheNextStart)
{
    ScopedTemporaryDirectory temporary;
    ProcessGroupReaper reaper;
    LiveWriter live(reaper);
    leaveFiles(5001, QByteArray::number(goneProcessId()));
    leaveFiles(5002, {}); // a launch that never recorded its writer
    leaveFiles(5003, "not a number");
    leaveFiles(5004, live.pid());
    TestSupport::writeFile(ServerLogFolder::path(), QStringLiteral("notes.txt"), "mine");

    ServerManager manager;

    EXPECT_TRUE(hasNoFiles(5001));
    EXPECT_TRUE(hasNoFiles(5002));
    EXPECT_TRUE(hasNoFiles(5003));
    EXPECT_TRUE(hasFiles(5004));
    EXPECT_EQ(QDir(ServerLogFolder::path()).entryList(QDir::Files, QDir::Name),
              (QStringList{QStringLiteral("notes.txt"), QStringLiteral("server-5004.pid"),
                           QStringLiteral("server-5004.stderr.log"),
                           QStringLiteral("server-5004.stdout.log")}));
}

TEST(ServerLogFolder, AServerWhoseFirstProcessEndedButWhoseGroupRunsKeepsItsFiles)
{
    ScopedTemporaryDirectory temporary;
    ProcessGroupReaper reaper;
    // Like a package manager that starts the real server and exits: the group lives on.
    LiveWriter leader(reaper, QStringLiteral("sleep 600 & echo $!"));
    ASSERT_TRUE(leader.process.waitForFinished(10000));
    const qint64 member = leader.process.readAllStandardOutput().trimmed().toLongLong();
    ASSERT_TRUE(isAlive(member));
    leaveFiles(5005, leader.pid());

    ServerLogFolder::tidy();

    EXPECT_TRUE(hasFiles(5005));

    ::kill(static_cast<pid_t>(member), SIGKILL);
    // Gone for good once reaped (by whoever adopted it), not merely a zombie.
    ASSERT_TRUE(waitUntil([&] { return !processInfo(member); }, 20s));
    ServerLogFolder::tidy();
    EXPECT_TRUE(hasNoFiles(5005));
}

TEST(ServerLogFolder, FilesOfALiveServerAreCappedAtTheStart)
{
    ScopedTemporaryDirectory temporary;
    ProcessGroupReaper reaper;
    LiveWriter live(reaper);
    leaveFiles(5006, live.pid(), ServerLogFolder::fileCap + 1);
    leaveFiles(5007, live.pid(), ServerLogFolder::fileCap);

    ServerManager manager;

    EXPECT_EQ(outputSize(5006), 0);
    EXPECT_EQ(QFileInfo(ServerLogFolder::filePath(5006, Channel::standardError)).size(), 0);
    EXPECT_EQ(outputSize(5007), ServerLogFolder::fileCap);
}

TEST(ServerLogFolder, FilesNobodyFollowsAreCappedWhileWispRuns)
{
    ScopedTemporaryDirectory temporary;
    ProcessGroupReaper reaper;
    LiveWriter live(reaper);
    ServerLogFolder folder;
    leaveFiles(5008, live.pid(), 2 * ServerLogFolder::fileCap);

    EXPECT_TRUE(waitUntil([] { return outputSize(5008) == 0; },
                          std::chrono::milliseconds(4 * ServerLogFolder::capIntervalMs)));
    EXPECT_TRUE(hasFiles(5008));
}

TEST(ServerLogFolder, CappingWhileWispRunsLeavesTheFilesOfAnEndedServerForTheUser)
{
    ScopedTemporaryDirectory temporary;
    ServerLogFolder folder;
    leaveFiles(5009, QByteArray::number(goneProcessId()), 2 * ServerLogFolder::fileCap);

    ServerLogFolder::capAll();

    EXPECT_TRUE(hasFiles(5009));
    EXPECT_EQ(outputSize(5009), 0);
}

TEST(ServerLogFolder, AMissingFolderIsNotCreatedByTidying)
{
    ScopedTemporaryDirectory temporary;
    ServerManager manager;
    ServerLogFolder::capAll();
    EXPECT_FALSE(QFileInfo::exists(ServerLogFolder::path()));
}

TEST(ServerLogFolder, RecordWriterReplacesTheRecordWhole)
{
    ScopedTemporaryDirectory temporary;
    QString error;
    ASSERT_TRUE(ServerLogFolder::prepare(&error));
    ServerLogFolder::recordWriter(5010, 123456);
    ServerLogFolder::recordWriter(5010, 42);
    QFile record(ServerLogFolder::writerFilePath(5010));
    ASSERT_TRUE(record.open(QIODevice::ReadOnly));
    EXPECT_EQ(record.readAll(), QByteArray("42\n"));
    EXPECT_EQ(QDir(ServerLogFolder::path()).entryList(QDir::Files),
              QStringList{QStringLiteral("server-5010.pid")});
}
