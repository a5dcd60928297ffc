#include "Utilities/ChildProcess.h"

#include <QCoro/QCoroSignal>
#include <QProcess>

QCoro::Task<bool> ChildProcess::start(QProcess* process, QIODevice::OpenMode mode)
{
    process->start(mode);
    // Starting turns into Running, or into NotRunning when the start failed.
    while (process->state() == QProcess::Starting) {
        co_await qCoro(process, &QProcess::stateChanged);
    }
    co_return !(process->state() == QProcess::NotRunning &&
                process->error() == QProcess::FailedToStart);
}
