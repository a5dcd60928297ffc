#include "Platform/linux/ProcessTable.h"

#include <QDir>
#include <QFile>

namespace {

QByteArray readSmallFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    return file.read(4096);
}

} // namespace

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
