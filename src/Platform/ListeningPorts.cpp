#include "Platform/ListeningPorts.h"

#include "Utilities/Log.h"

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
