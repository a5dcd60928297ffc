#include "App/SingleInstance.h"

#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QUuid>

#include <gtest/gtest.h>

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using TestSupport::waitUntil;

namespace {

// A socket name no other test or running wisp uses.
QString uniqueName()
{
    return QStringLiteral("wisp-test-%1").arg(QUuid::createUuid().toString(QUuid::Id128).left(12));
}

// Leaves a socket file behind the way a crashed instance does: bound, then closed without
// being removed, so connecting to it is refused.
bool makeStaleSocket(const QString& path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray bytes = QFile::encodeName(path);
    std::strncpy(address.sun_path, bytes.constData(), sizeof(address.sun_path) - 1);
    const bool bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
                       ::listen(fd, 1) == 0;
    ::close(fd);
    return bound;
}

} // namespace

TEST(SingleInstance, NameIsPerUser)
{
    EXPECT_EQ(SingleInstance::defaultName(), QStringLiteral("wisp-instance-%1").arg(::getuid()));
}

TEST(SingleInstance, FirstInstanceListensAndASecondOneReachesItAndEnds)
{
    const QString name = uniqueName();
    SingleInstance first(name);
    QSignalSpy reopened(&first, &SingleInstance::reopenRequested);
    ASSERT_EQ(first.start(), SingleInstance::Role::primary);
    EXPECT_TRUE(first.isListening());
    EXPECT_EQ(first.serverPath(), QDir(QDir::tempPath()).filePath(name));

    SingleInstance second(name);
    EXPECT_EQ(second.start(), SingleInstance::Role::secondary);
    EXPECT_FALSE(second.isListening());
    ASSERT_TRUE(waitUntil([&] { return reopened.count() == 1; }));

    // Every later launch is one more request.
    SingleInstance third(name);
    EXPECT_EQ(third.start(), SingleInstance::Role::secondary);
    ASSERT_TRUE(waitUntil([&] { return reopened.count() == 2; }));
}

TEST(SingleInstance, StaleSocketOfACrashedInstanceIsTakenOver)
{
    const QString name = uniqueName();
    const QString path = QDir(QDir::tempPath()).filePath(name);
    ASSERT_TRUE(makeStaleSocket(path));
    ASSERT_TRUE(QFileInfo::exists(path));

    LogCapture log;
    SingleInstance instance(name);
    QSignalSpy reopened(&instance, &SingleInstance::reopenRequested);
    EXPECT_EQ(instance.start(), SingleInstance::Role::primary);
    EXPECT_TRUE(instance.isListening());
    EXPECT_EQ(
        log.lines(),
        QStringList{
            QStringLiteral("⚠️ [WispApp] Removing a stale instance socket: %1").arg(name)});

    // And it answers the next launch.
    SingleInstance next(name);
    EXPECT_EQ(next.start(), SingleInstance::Role::secondary);
    ASSERT_TRUE(waitUntil([&] { return reopened.count() == 1; }));
}

TEST(SingleInstance, OtherTalkIsIgnoredAndASilentClientIsDropped)
{
    const QString name = uniqueName();
    SingleInstance instance(name);
    QSignalSpy reopened(&instance, &SingleInstance::reopenRequested);
    ASSERT_EQ(instance.start(), SingleInstance::Role::primary);

    QLocalSocket chatter;
    chatter.connectToServer(name);
    ASSERT_TRUE(chatter.waitForConnected(5000));
    chatter.write("hello\nreopen please\n");
    chatter.flush();

    QLocalSocket silent;
    silent.connectToServer(name);
    ASSERT_TRUE(silent.waitForConnected(5000));
    // The instance hangs up on a client that says nothing.
    ASSERT_TRUE(waitUntil([&] { return silent.state() == QLocalSocket::UnconnectedState; },
                          std::chrono::seconds(20)));
    EXPECT_EQ(reopened.count(), 0);
    EXPECT_TRUE(instance.isListening());
}

TEST(SingleInstance, ClosingTheInstanceRemovesItsSocket)
{
    const QString name = uniqueName();
    QString path;
    {
        SingleInstance instance(name);
        ASSERT_EQ(instance.start(), SingleInstance::Role::primary);
        path = instance.serverPath();
        EXPECT_TRUE(QFileInfo::exists(path));
    }
    EXPECT_FALSE(QFileInfo::exists(path));
}
