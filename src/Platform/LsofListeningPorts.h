#pragma once

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QSet>
#include <QStringList>

#include <chrono>

// The listening TCP ports of a process group as lsof reports them: one lsof run restricted to the
// group's processes, its field output read for the socket names.
class LsofListeningPorts
{
public:
    // All of these must hold (-a): the group's processes, TCP sockets in the LISTEN state;
    // numeric addresses and ports, one name field per socket.
    static QStringList arguments(qint64 group);

    // The ports of the name fields ("n*:4321", "n127.0.0.1:8080", "n[::1]:5173") of field
    // output; anything else is skipped.
    static QSet<int> portsIn(const QByteArray& output);

    // Runs `lsofPath` and reads its answer; empty, after a log line, when it cannot be run or
    // does not end before `deadline`.
    static QCoro::Task<QSet<int>> ofProcessGroup(QString lsofPath, qint64 group,
                                                 std::chrono::milliseconds deadline);
};
