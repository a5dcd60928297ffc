#pragma once

#include <QCoro/QCoroTask>
#include <QSet>

#include <chrono>

// Where the processes of one process group accept TCP connections. A development server started
// by wisp leads a group of its own, which holds everything it started (npm, node, a bundler).
struct ListeningPorts
{
    // The TCP ports that living members of process group `group` listen on. Empty when there are
    // none, or when the system cannot tell; never throws, and gives up after `deadline`.
    static QCoro::Task<QSet<int>> ofProcessGroup(qint64 group, std::chrono::milliseconds deadline);
};
