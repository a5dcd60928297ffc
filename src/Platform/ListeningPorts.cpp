#include "Platform/ListeningPorts.h"

#include "Platform/LsofListeningPorts.h"
#include "Platform/SystemTools.h"
#include "Utilities/Log.h"

#include <QCoro/QCoroFuture>
#include <QtConcurrent/QtConcurrentRun>

#include <atomic>

namespace {

std::atomic<bool> kernelReading{true};
std::atomic<bool> unreadableNoted{false};

} // namespace

void ListeningPorts::setReadingKernel(bool enabled)
{
    kernelReading = enabled;
    unreadableNoted = false;
}

bool ListeningPorts::readingKernel()
{
    return kernelReading;
}

void ListeningPorts::noteUnreadable(const QString& what)
{
    if (!unreadableNoted.exchange(true)) {
        Log::line(QStringLiteral("⚠️ [ServerManager] Cannot read %1; checking ports with lsof")
                      .arg(what));
    }
}

// A walk over the processes of the machine: done on a worker thread, off the main one; lsof,
// restricted to the group, where the kernel cannot be read.
QCoro::Task<QSet<int>> ListeningPorts::ofProcessGroup(qint64 group,
                                                      std::chrono::milliseconds deadline)
{
    // The future is a named local: gcc 12 destroys temporaries of a co_await twice.
    QFuture<std::optional<QSet<int>>> walking =
        QtConcurrent::run([group] { return kernelPortsOfGroup(group); });
    const std::optional<QSet<int>> ports = co_await walking;
    if (ports) {
        co_return *ports;
    }
    noteUnreadable(unreadableForGroup(group));
    co_return co_await LsofListeningPorts::ofProcessGroup(SystemTools::lsof(), group, deadline);
}
