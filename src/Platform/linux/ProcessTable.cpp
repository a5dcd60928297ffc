#include "Platform/linux/ProcessTable.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <optional>

#include <sys/stat.h>
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

// The value of `name` in the environment the process started with; nullopt when it has none or
// the environment cannot be read (another user's process).
std::optional<QByteArray> environmentValue(qint64 pid, const QByteArray& name)
{
    QFile file(QStringLiteral("/proc/%1/environ").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray prefix = name + '=';
    for (const QByteArray& entry : file.readAll().split('\0')) {
        if (entry.startsWith(prefix)) {
            return entry.mid(prefix.size());
        }
    }
    return std::nullopt;
}

// ":0.0" and ":0" name the same display.
QByteArray withoutScreen(const QByteArray& display)
{
    static const QRegularExpression screen(QStringLiteral("\\.\\d+$"));
    return QString::fromLocal8Bit(display).remove(screen).toLocal8Bit();
}

bool ownedByMe(qint64 pid)
{
    struct stat info
    {};
    const QByteArray path = QStringLiteral("/proc/%1").arg(pid).toLocal8Bit();
    return ::stat(path.constData(), &info) == 0 && info.st_uid == ::getuid();
}

} // namespace

QList<qint64> ProcessTable::ownPidsNamed(const QStringList& names)
{
    const QByteArray display = withoutScreen(qgetenv("DISPLAY"));
    const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
    QList<qint64> pids = pidsNamed(names);
    pids.removeIf([&](qint64 pid) {
        if (!ownedByMe(pid)) {
            return true;
        }
        if (!display.isEmpty()) {
            const std::optional<QByteArray> theirs = environmentValue(pid, "DISPLAY");
            return !theirs || withoutScreen(*theirs) != display;
        }
        if (!wayland.isEmpty()) {
            return environmentValue(pid, "WAYLAND_DISPLAY") != std::optional<QByteArray>(wayland);
        }
        return true;
    });
    return pids;
}

QList<qint64> ProcessTable::pidsNamed(const QStringList& names)
{
    QList<qint64> pids;
    const QStringList entries =
        QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid) {
            continue;
        }
        const QString folder = QStringLiteral("/proc/") + entry;
        const QString name =
            QString::fromUtf8(readSmallFile(folder + QStringLiteral("/comm"))).trimmed();
        if (!names.contains(name)) {
            continue;
        }
        // "pid (name) S ...": the state follows the last parenthesis.
        const QByteArray stat = readSmallFile(folder + QStringLiteral("/stat"));
        const qsizetype close = stat.lastIndexOf(')');
        if (close < 0 || stat.mid(close + 2, 1) == "Z") {
            continue;
        }
        pids.append(pid);
    }
    return pids;
}
