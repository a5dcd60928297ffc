#pragma once

#include <QCoro/QCoroTask>
#include <QIODevice>

class QProcess;

// Coroutine-friendly starting of and waiting for QProcess children, on the calling (main) thread.
class ChildProcess
{
public:
    // Starts the configured `process` and suspends until the child runs (true) or has failed to
    // start (false; the reason is in errorString()). QCoro's own start waits for
    // QProcess::started alone, so a program that cannot be run, or a failure reported after
    // start() returned (a missing working directory, say), would only end the wait at its
    // 30-second timeout.
    static QCoro::Task<bool> start(QProcess* process,
                                   QIODevice::OpenMode mode = QIODevice::ReadWrite);

    // Suspends until the child has exited. Returns at once when it is not running.
    static QCoro::Task<> waitForExit(QProcess* process);
};
