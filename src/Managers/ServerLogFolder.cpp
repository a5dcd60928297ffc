#include "Managers/ServerLogFolder.h"

#include "Platform/StateFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>

#include <cerrno>
#include <csignal>
#include <limits>
#include <unistd.h>

namespace {

// Some process with this id or in the process group of this id exists. A process of another
// user (EPERM) counts: a recycled id then keeps the files a little longer, never too short.
bool processOrGroupExists(qint64 pid)
{
    if (pid <= 1 || pid > std::numeric_limits<pid_t>::max()) {
        return false;
    }
    const auto id = static_cast<pid_t>(pid);
    if (::kill(-id, 0) == 0 || errno == EPERM) {
        return true;
    }
    return ::kill(id, 0) == 0 || errno == EPERM;
}

} // namespace

ServerLogFolder::ServerLogFolder(QObject* parent) : QObject(parent)
{
    tidy();
    capping.setInterval(capIntervalMs);
    connect(&capping, &QTimer::timeout, this, [] { capAll(); });
    capping.start();
}

QString ServerLogFolder::path()
{
    return StateFolder::path();
}

QString ServerLogFolder::filePath(int port, Channel channel)
{
    const QString name = channel == Channel::standardOutput
                             ? QStringLiteral("server-%1.stdout.log")
                             : QStringLiteral("server-%1.stderr.log");
    return path() + QLatin1Char('/') + name.arg(port);
}

QString ServerLogFolder::writerFilePath(int port)
{
    return path() + QStringLiteral("/server-%1.pid").arg(port);
}

bool ServerLogFolder::prepare(QString* error)
{
    const QString folder = path();
    if (!QDir().mkpath(folder)) {
        *error = QStringLiteral("cannot create %1").arg(folder);
        return false;
    }
    // The folder may be configured to lie anywhere: only a folder of our own will do.
    if (QFileInfo(folder).ownerId() != ::getuid()) {
        *error = QStringLiteral("%1 belongs to another user").arg(folder);
        return false;
    }
    QFile::setPermissions(folder,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return true;
}

void ServerLogFolder::recordWriter(int port, qint64 pid)
{
    // Written whole or not at all, so that tidying never reads half a number.
    QSaveFile file(writerFilePath(port));
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QByteArray::number(pid) + '\n');
        file.commit();
    }
}

qint64 ServerLogFolder::cap(QFile& file)
{
    const qint64 size = file.size();
    if (size <= fileCap || !file.resize(0)) {
        return 0;
    }
    return size;
}

QSet<int> ServerLogFolder::ports()
{
    QSet<int> found;
    const QDir folder(path());
    if (!folder.exists()) {
        return found;
    }
    static const QRegularExpression name(
        QStringLiteral("^server-(\\d+)\\.(?:stdout\\.log|stderr\\.log|pid)$"));
    for (const QString& entry : folder.entryList(QDir::Files | QDir::Hidden)) {
        const auto match = name.match(entry);
        if (match.hasMatch()) {
            found.insert(match.captured(1).toInt());
        }
    }
    return found;
}

void ServerLogFolder::tidy()
{
    const QSet<int> found = ports();
    for (const int port : found) {
        if (writerAlive(port)) {
            capFilesOf(port);
        } else {
            QFile::remove(filePath(port, Channel::standardOutput));
            QFile::remove(filePath(port, Channel::standardError));
            QFile::remove(writerFilePath(port));
        }
    }
}

void ServerLogFolder::capAll()
{
    const QSet<int> found = ports();
    for (const int port : found) {
        capFilesOf(port);
    }
}

bool ServerLogFolder::writerAlive(int port)
{
    QFile record(writerFilePath(port));
    if (!record.open(QIODevice::ReadOnly)) {
        return false;
    }
    bool valid = false;
    const qint64 pid = record.read(32).trimmed().toLongLong(&valid);
    return valid && processOrGroupExists(pid);
}

void ServerLogFolder::capFilesOf(int port)
{
    for (const Channel channel : {Channel::standardOutput, Channel::standardError}) {
        QFile file(filePath(port, channel));
        if (file.exists() && file.size() > fileCap && file.open(QIODevice::ReadWrite)) {
            cap(file);
        }
    }
}
