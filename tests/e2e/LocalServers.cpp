#include "LocalServers.h"

#include "Desktop.h"

#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>

#include <signal.h>
#include <unistd.h>

using namespace std::chrono_literals;
using TestSupport::waitUntil;

namespace LocalServers {

bool portAnswers(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    return socket.waitForConnected(500);
}

bool portIsFree(int port)
{
    QTcpServer server;
    return server.listen(QHostAddress::Any, static_cast<quint16>(port));
}

QList<qint64> listeners(int port)
{
    const Desktop::RunResult result =
        Desktop::run(QStringLiteral("/usr/bin/lsof"),
                     {QStringLiteral("-t"), QStringLiteral("-i"), QStringLiteral(":%1").arg(port),
                      QStringLiteral("-sTCP:LISTEN")});
    QList<qint64> pids;
    for (const QString& line : result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        bool ok = false;
        const qint64 pid = line.trimmed().toLongLong(&ok);
        if (ok && pid > 0) {
            pids.append(pid);
        }
    }
    return pids;
}

void stopServersOn(int port)
{
    for (int signal : {SIGTERM, SIGKILL}) {
        for (const qint64 pid : listeners(port)) {
            const pid_t group = ::getpgid(static_cast<pid_t>(pid));
            if (group > 0 && group != ::getpgrp()) {
                ::kill(-group, signal);
            } else {
                ::kill(static_cast<pid_t>(pid), signal);
            }
        }
        if (waitUntil([&] { return listeners(port).isEmpty(); }, 5s)) {
            return;
        }
    }
}

QByteArray httpGet(int port, std::chrono::milliseconds timeout)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("localhost"), static_cast<quint16>(port));
    if (!socket.waitForConnected(static_cast<int>(timeout.count()))) {
        return QByteArray();
    }
    socket.write(QStringLiteral("GET / HTTP/1.1\r\nHost: localhost:%1\r\nConnection: close\r\n\r\n")
                     .arg(port)
                     .toUtf8());
    QByteArray response;
    QElapsedTimer clock;
    clock.start();
    while (socket.state() == QAbstractSocket::ConnectedState && clock.elapsed() < timeout.count()) {
        socket.waitForReadyRead(200);
        response += socket.readAll();
    }
    return response + socket.readAll();
}

void writeNodeProject(const QString& root, const QString& name, int port,
                      const QByteArray& serverScript)
{
    TestSupport::writeFile(root, name + QStringLiteral("/package.json"),
                           QStringLiteral(R"({"name": "%1", "private": true,
  "scripts": {"dev": "node server.js --port %2"}}
)")
                               .arg(name)
                               .arg(port)
                               .toUtf8());
    TestSupport::writeFile(root, name + QStringLiteral("/server.js"), serverScript);
}

QList<qint64> startedServers(const QStringList& log)
{
    static const QRegularExpression started(
        QStringLiteral("^✅ \\[ServerManager\\] Server process started \\(PID: (\\d+)\\)$"));
    QList<qint64> pids;
    for (const QString& line : log) {
        const QRegularExpressionMatch match = started.match(line);
        if (match.hasMatch() && !pids.contains(match.captured(1).toLongLong())) {
            pids.append(match.captured(1).toLongLong());
        }
    }
    return pids;
}

void stopProcessGroups(const QList<qint64>& groups)
{
    for (const qint64 group : groups) {
        ::kill(static_cast<pid_t>(-group), SIGTERM);
    }
    for (const qint64 group : groups) {
        if (!waitUntil([group] { return ::kill(static_cast<pid_t>(-group), 0) != 0; }, 10s)) {
            ::kill(static_cast<pid_t>(-group), SIGKILL);
            waitUntil([group] { return ::kill(static_cast<pid_t>(-group), 0) != 0; }, 10s);
        }
    }
}

} // namespace LocalServers
