#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QTcpServer>
#include <QThread>

#include <gtest/gtest.h>

namespace TestSupport {

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    QDeadlineTimer deadline(timeout);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return condition();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(1);
    }
    return true;
}

int freePort()
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHost, 0)) {
        ADD_FAILURE() << "no free port: " << server.errorString().toStdString();
        return 0;
    }
    return server.serverPort();
}

void writeFile(const QString& root, const QString& relativePath, const QByteArray& contents)
{
    const QString path = QDir(root).filePath(relativePath);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        << path.toStdString() << ": " << file.errorString().toStdString();
    ASSERT_EQ(file.write(contents), contents.size());
}

void makeDir(const QString& root, const QString& relativePath)
{
    ASSERT_TRUE(QDir(root).mkpath(relativePath)) << relativePath.toStdString();
}

int openFileDescriptorCount()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd"))
                                .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System)
                                .size());
}

qint64 processMemoryKiB(qint64 pid, const QByteArray& field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QByteArray prefix = field + ':';
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(prefix)) {
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
        }
    }
    return -1;
}

QString fixturePath(const QString& relativePath)
{
    return QDir(QStringLiteral(WISP_TEST_FIXTURES_DIR)).filePath(relativePath);
}

} // namespace TestSupport
