#include "Managers/ServerOutput.h"

#include "ServerTestSupport.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// The highest "tick N" line the chatty fixture has written to `path`, 0 when none.
int lastTick(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    static const QRegularExpression tick(QStringLiteral("^tick (\\d+)$"),
                                         QRegularExpression::MultilineOption);
    int last = 0;
    auto matches = tick.globalMatch(QString::fromUtf8(file.readAll()));
    while (matches.hasNext()) {
        last = std::max(last, matches.next().captured(1).toInt());
    }
    return last;
}

// Sends one HTTP request and returns the status line of the answer.
QByteArray httpStatusLine(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    if (!socket.waitForConnected(10000)) {
        return {};
    }
    socket.write("GET / HTTP/1.0\r\nHost: localhost\r\n\r\n");
    QByteArray answer;
    waitUntil(
        [&] {
            answer += socket.readAll();
            return answer.contains("\r\n") || socket.state() == QAbstractSocket::UnconnectedState;
        },
        10s);
    socket.abort();
    return answer.left(answer.indexOf("\r\n"));
}

} // namespace

TEST(ServerSurvival, ServerKeepsRunningAndWritingAfterWispQuitsWithoutDestroyingItsManager)
{
    ScopedTemporaryDirectory temporary; // the harness inherits it
    ProcessGroupReaper reaper;
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const int port = TestSupport::freePort();

    QProcess harness;
    harness.setProgram(QStringLiteral(WISP_BIN_DIR "/server-harness"));
    harness.setArguments({folder.path(), QString::number(port),
                          QStringLiteral("python3 %1 %2")
                              .arg(fixture(QStringLiteral("chatty_http_server.py")))
                              .arg(port)});
    harness.setStandardInputFile(QProcess::nullDevice());
    // Quitting as wisp does may leave its last status check waiting for lsof, a coroutine that
    // is never resumed and that a leak checker would count.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString asanOptions = environment.value(QStringLiteral("ASAN_OPTIONS"));
    environment.insert(QStringLiteral("ASAN_OPTIONS"),
                       asanOptions.isEmpty() ? QStringLiteral("detect_leaks=0")
                                             : asanOptions + QStringLiteral(":detect_leaks=0"));
    harness.setProcessEnvironment(environment);
    harness.start();
    ASSERT_TRUE(harness.waitForStarted(10000)) << harness.errorString().toStdString();
    const qint64 harnessPid = harness.processId();

    // Registered for clean-up as soon as it is known, so that no failure leaves it running.
    QByteArray printed;
    qint64 pid = 0;
    const bool ended = waitUntil(
        [&] {
            printed += harness.readAllStandardOutput();
            const auto match = QRegularExpression(QStringLiteral("^PID (\\d+)$"),
                                                  QRegularExpression::MultilineOption)
                                   .match(QString::fromUtf8(printed));
            if (match.hasMatch() && pid == 0) {
                pid = match.captured(1).toLongLong();
                reaper.add(pid);
            }
            return harness.state() == QProcess::NotRunning;
        },
        60s);
    printed += harness.readAllStandardOutput();
    const QString harnessLog = QString::fromUtf8(harness.readAllStandardError());
    ASSERT_TRUE(ended);
    ASSERT_EQ(harness.exitStatus(), QProcess::NormalExit);
    ASSERT_EQ(harness.exitCode(), 0) << printed.toStdString() << harnessLog.toStdString();
    ASSERT_GT(pid, 0) << printed.toStdString();
    EXPECT_TRUE(harnessLog.contains(
        QStringLiteral("✅ [ServerManager] Server confirmed running on port %1 (attempt ")
            .arg(port)))
        << harnessLog.toStdString();

    // wisp is gone; the server is not, and it lives in a session of its own.
    ASSERT_TRUE(isAlive(pid));
    EXPECT_EQ(::getsid(static_cast<pid_t>(pid)), pid);
    EXPECT_NE(processInfo(pid)->parent, harnessPid);

    // It keeps writing output well after wisp has gone, and survives doing so.
    const QString outputPath =
        ServerLogFolder::filePath(port, ServerLogFolder::Channel::standardOutput);
    const int tickAtExit = lastTick(outputPath);
    EXPECT_TRUE(waitUntil([&] { return lastTick(outputPath) >= tickAtExit + 20; }, 30s))
        << "last tick " << lastTick(outputPath) << " at exit " << tickAtExit;
    EXPECT_TRUE(isAlive(pid));

    // And it still answers.
    EXPECT_EQ(httpStatusLine(port), QByteArray("HTTP/1.0 200 OK"));
    EXPECT_TRUE(isAlive(pid));

    // The next start of wisp leaves the files of the living server alone...
    {
        ServerManager nextStart;
        EXPECT_TRUE(QFileInfo::exists(outputPath));
        EXPECT_TRUE(QFileInfo::exists(ServerLogFolder::writerFilePath(port)));
    }
    // ...and the one after its end removes them.
    ::kill(static_cast<pid_t>(-pid), SIGKILL);
    // Gone for good once its adoptive parent has reaped it, not merely a zombie.
    ASSERT_TRUE(waitUntil(
        [&] {
            for (const qint64 candidate : allProcessIds()) {
                const auto info = processInfo(candidate);
                if (info && info->group == pid) {
                    return false;
                }
            }
            return true;
        },
        20s));
    ServerManager startAfterTheServerEnded;
    EXPECT_FALSE(QFileInfo::exists(outputPath));
    EXPECT_FALSE(QFileInfo::exists(ServerLogFolder::writerFilePath(port)));
    EXPECT_FALSE(QFileInfo::exists(
        ServerLogFolder::filePath(port, ServerLogFolder::Channel::standardError)));
}
