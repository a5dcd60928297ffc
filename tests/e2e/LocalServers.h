#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>

// The development servers the end-to-end tests have wisp start: whether their ports answer, who
// listens there, and stopping what a test left behind.
namespace LocalServers {

bool portAnswers(int port);
bool portIsFree(int port);

// Process ids listening on a TCP port, as lsof reports them.
QList<qint64> listeners(int port);

// Stops the servers a test left on `port`, with their process groups (npm and its children).
void stopServersOn(int port);

// What answers an HTTP request for "/" on localhost:`port` (either address family), with the
// headers; empty when nothing does within `timeout`.
QByteArray httpGet(int port, std::chrono::milliseconds timeout);

// A Node project `name` in `root`: its "dev" script runs `serverScript`, saved as server.js,
// with "--port `port`" (process.argv[3]).
void writeNodeProject(const QString& root, const QString& name, int port,
                      const QByteArray& serverScript);

// The process ids of the servers a wisp started, from its "Server process started" log lines,
// in order and each once.
QList<qint64> startedServers(const QStringList& log);

// Ends the process groups of servers a wisp started, with whatever they started.
void stopProcessGroups(const QList<qint64>& groups);

} // namespace LocalServers
