#include "Platform/ListeningPorts.h"

#include "Platform/linux/TcpSocketTable.h"

#include <QDir>
#include <QFile>

#include <climits>
#include <optional>
#include <unistd.h>

namespace {

QByteArray readSmallFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    return file.read(4096);
}

// The process group of a living process, from "pid (name) state ppid pgrp ..."; -1 when it has
// gone or is a zombie.
qint64 processGroupOf(const QString& folder)
{
    const QByteArray stat = readSmallFile(folder + QStringLiteral("/stat"));
    // The name may hold spaces and parentheses; the fields follow the last one.
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0) {
        return -1;
    }
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    if (fields.size() < 3 || fields.at(0) == "Z" || fields.at(0) == "X") {
        return -1;
    }
    bool numeric = false;
    const qint64 group = fields.at(2).toLongLong(&numeric);
    return numeric ? group : -1;
}

// The inodes of the sockets a process holds open ("socket:[12345]").
void addSocketInodes(const QString& folder, QSet<quint64>& inodes)
{
    const QString fdFolder = folder + QStringLiteral("/fd");
    const QStringList descriptors =
        QDir(fdFolder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& descriptor : descriptors) {
        const QByteArray path = QFile::encodeName(fdFolder + QLatin1Char('/') + descriptor);
        char target[PATH_MAX];
        const ssize_t length = ::readlink(path.constData(), target, sizeof(target) - 1);
        if (length <= 0) {
            continue;
        }
        const QByteArray link(target, length);
        if (!link.startsWith("socket:[") || !link.endsWith(']')) {
            continue;
        }
        bool numeric = false;
        const quint64 inode = link.mid(8, link.size() - 9).toULongLong(&numeric);
        if (numeric) {
            inodes.insert(inode);
        }
    }
}

// Listening entries of a TCP socket table whose socket is one of `inodes`:
// "sl local_address rem_address st tx_queue:rx_queue tr:when retrnsmt uid timeout inode ...".
// False when the table cannot be read; a missing IPv6 table lists nothing.
bool addListeningPorts(const QByteArray& table, bool optional, const QSet<quint64>& inodes,
                       QSet<int>& ports)
{
    QFile file(QFile::decodeName(table));
    if (!file.open(QIODevice::ReadOnly)) {
        return optional && !file.exists();
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (qsizetype index = 1; index < lines.size(); ++index) {
        const QList<QByteArray> fields = lines.at(index).simplified().split(' ');
        if (fields.size() < 10) {
            continue;
        }
        bool numeric = false;
        if (fields.at(3).toInt(&numeric, 16) != TcpSocketTable::listenState || !numeric) {
            continue;
        }
        const quint64 inode = fields.at(9).toULongLong(&numeric);
        if (!numeric || !inodes.contains(inode)) {
            continue;
        }
        const QByteArray local = fields.at(1);
        const int port = local.mid(local.lastIndexOf(':') + 1).toInt(&numeric, 16);
        if (numeric && port > 0) {
            ports.insert(port);
        }
    }
    return true;
}

// Read from /proc without starting a tool: the group's members, their socket inodes, and the
// listening entries of the TCP tables that carry those inodes. Nullopt when the tables cannot
// be read.
std::optional<QSet<int>> listeningPortsOfGroup(qint64 group)
{
    QSet<int> ports;
    if (group <= 0) {
        return ports;
    }
    QSet<quint64> inodes;
    const QStringList entries =
        QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool isPid = false;
        entry.toLongLong(&isPid);
        if (!isPid) {
            continue;
        }
        const QString folder = QStringLiteral("/proc/") + entry;
        if (processGroupOf(folder) == group) {
            addSocketInodes(folder, inodes);
        }
    }
    if (inodes.isEmpty()) {
        return ports;
    }
    if (!addListeningPorts(TcpSocketTable::ipv4Path(), false, inodes, ports) ||
        !addListeningPorts(TcpSocketTable::ipv6Path(), true, inodes, ports)) {
        return std::nullopt;
    }
    return ports;
}

} // namespace

std::optional<bool> ListeningPorts::listenerOn(int port)
{
    // lsof's own answer settles what a port number outside TCP's range means.
    if (!readingKernel() || port < 1 || port > 65535) {
        return std::nullopt;
    }
    QString failure;
    const std::optional<bool> answer = TcpSocketTable::hasListener(port, &failure);
    if (!answer) {
        noteUnreadable(failure);
    }
    return answer;
}

std::optional<QSet<int>> ListeningPorts::kernelPortsOfGroup(qint64 group)
{
    return listeningPortsOfGroup(group);
}

QString ListeningPorts::unreadableForGroup(qint64 /*group*/)
{
    return QFile::decodeName(TcpSocketTable::ipv4Path()) + QStringLiteral(" or ") +
           QFile::decodeName(TcpSocketTable::ipv6Path());
}
