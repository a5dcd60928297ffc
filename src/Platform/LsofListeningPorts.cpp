#include "Platform/LsofListeningPorts.h"

#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"

#include <QProcess>

QStringList LsofListeningPorts::arguments(qint64 group)
{
    return {QStringLiteral("-a"),    QStringLiteral("-g"),           QString::number(group),
            QStringLiteral("-iTCP"), QStringLiteral("-sTCP:LISTEN"), QStringLiteral("-nP"),
            QStringLiteral("-Fn")};
}

QSet<int> LsofListeningPorts::portsIn(const QByteArray& output)
{
    QSet<int> ports;
    for (const QByteArray& line : output.split('\n')) {
        // A listening socket has no "->" peer part.
        if (!line.startsWith('n') || line.contains("->")) {
            continue;
        }
        const qsizetype colon = line.lastIndexOf(':');
        if (colon < 0) {
            continue;
        }
        bool numeric = false;
        const int port = line.mid(colon + 1).trimmed().toInt(&numeric);
        if (numeric && port >= 1 && port <= 65535) {
            ports.insert(port);
        }
    }
    return ports;
}

QCoro::Task<QSet<int>> LsofListeningPorts::ofProcessGroup(QString lsofPath, qint64 group,
                                                          std::chrono::milliseconds deadline)
{
    const ChildProcess::Owned process = ChildProcess::create();
    QProcess& lsof = *process;
    // Its complaints about unreadable files of other users are no ports.
    lsof.setProcessChannelMode(QProcess::SeparateChannels);
    lsof.setStandardInputFile(QProcess::nullDevice());
    lsof.setProgram(lsofPath);
    lsof.setArguments(arguments(group));
    if (!co_await ChildProcess::start(&lsof)) {
        Log::line(QStringLiteral("⚠️ [ServerManager] lsof failed for process group %1: %2")
                      .arg(group)
                      .arg(lsof.errorString()));
        co_return QSet<int>();
    }
    if (!co_await ChildProcess::waitForExit(&lsof, deadline)) {
        Log::line(
            QStringLiteral("⚠️ [ServerManager] lsof timed out after %1 s for process group %2")
                .arg(static_cast<double>(deadline.count()) / 1000.0)
                .arg(group));
        co_return QSet<int>();
    }
    co_return portsIn(lsof.readAllStandardOutput());
}
