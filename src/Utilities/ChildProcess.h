#pragma once

#include <QCoro/QCoroTask>
#include <QIODevice>

#include <chrono>
#include <memory>

class QProcess;

// Coroutine-friendly starting of and waiting for QProcess children, on the calling (main) thread.
class ChildProcess
{
public:
    // How long a killed child may take to be reaped before its QProcess is left to do that on its
    // own. SIGKILL normally ends a child at once; one stuck in the kernel (a hung network mount)
    // dies only when the call it is stuck in returns.
    static constexpr std::chrono::milliseconds reapGrace{2000};

    // Lets go of a QProcess: deleted at once when its child has ended; otherwise the child (and
    // its process group, when it leads one) is killed and the QProcess deletes itself once the
    // child has been reaped. QProcess's own destructor would block for up to 30 seconds.
    struct Release
    {
        void operator()(QProcess* process) const;
    };
    using Owned = std::unique_ptr<QProcess, Release>;

    static Owned create();

    // Makes the child lead a process group of its own, so that killing it at a deadline also
    // ends whatever it started (a shell's command substitutions, say).
    static void leadOwnProcessGroup(QProcess& process);

    // Starts the configured `process` and suspends until the child runs (true) or has failed to
    // start (false; the reason is in errorString()). QCoro's own start waits for
    // QProcess::started alone, so a program that cannot be run, or a failure reported after
    // start() returned (a missing working directory, say), would only end the wait at its
    // 30-second timeout.
    static QCoro::Task<bool> start(QProcess* process,
                                   QIODevice::OpenMode mode = QIODevice::ReadWrite);

    // Suspends until the child has exited (true; also when it was not running) or `deadline`
    // has passed (false). At the deadline the child is killed, with its process group when it
    // leads one, and reaped if that happens within `reapGrace`. The caller logs the expiry.
    static QCoro::Task<bool> waitForExit(QProcess* process, std::chrono::milliseconds deadline);

    // Kills the child, with its process group when it leads one. Nothing when it has ended.
    static void kill(QProcess* process);
};
