#pragma once

#include <QCoro/QCoroTask>

class QProcess;

// Coroutine-friendly launching and waiting for QProcess children, on the calling (main) thread.
namespace ChildProcess {

// Starts the configured `process` and suspends until the child runs (true) or has failed to
// start (false; the reason is in errorString()). Unlike waiting for QProcess::started alone, a
// failure reported after start() returned (a missing working directory, say) ends the wait at
// once.
QCoro::Task<bool> launch(QProcess* process);

// Suspends until the child has exited. Returns at once when it is not running.
QCoro::Task<> waitForExit(QProcess* process);

} // namespace ChildProcess
