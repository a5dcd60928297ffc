#pragma once

#include <QCoro/QCoroTask>
#include <QSet>
#include <QString>

#include <chrono>
#include <optional>

// Where TCP connections are accepted, read from the kernel inside wisp: a check costs no child
// process, and answers in microseconds however many processes the machine runs. Where the
// kernel's tables cannot be read, the answer is left to lsof.
struct ListeningPorts
{
    // Whether a TCP socket in the LISTEN state has local port `port`, on any local address, IPv4
    // or IPv6: what the lsof port query answers. Nullopt when the kernel's tables cannot be read
    // (logged once; lsof answers instead). Safe on any thread; a check allocates nothing once
    // its buffers have grown to the size of the table.
    static std::optional<bool> listenerOn(int port);

    // The TCP ports that living members of process group `group` listen on. Empty when there are
    // none, or when the system cannot tell; never throws, and gives up after `deadline`.
    static QCoro::Task<QSet<int>> ofProcessGroup(qint64 group, std::chrono::milliseconds deadline);

    // Off, every port check (listenerOn) is left to lsof without a log line: for tests of the
    // lsof way.
    static void setReadingKernel(bool enabled);
    static bool readingKernel();

    // Logs, the first time since the last call of setReadingKernel only, that the kernel's
    // tables cannot be read (`what`: the table and the reason) and that lsof answers instead.
    static void noteUnreadable(const QString& what);

private:
    // Each system's own reading of the kernel: the group's listening ports, nullopt when that
    // cannot be done; and then what could not be read, for noteUnreadable.
    static std::optional<QSet<int>> kernelPortsOfGroup(qint64 group);
    static QString unreadableForGroup(qint64 group);
};
