#include "Utilities/ChildProcess.h"

#include <QCoro/QCoroProcess>
#include <QObject>
#include <QProcess>

#include <coroutine>
#include <csignal>
#include <memory>
#include <unistd.h>

namespace {

// Resumes on whichever comes first, QProcess::started or a FailedToStart error. Copyable (the
// connections live in shared state); the outcome is taken from the signal itself, so a child that
// has already exited again by the time the coroutine runs still counts as started.
class StartAwaiter
{
public:
    explicit StartAwaiter(QProcess* process) : process(process), shared(std::make_shared<Shared>())
    {}

    bool await_ready() const noexcept { return process->state() != QProcess::Starting; }

    void await_suspend(std::coroutine_handle<> handle)
    {
        auto state = shared;
        auto finish = [state, handle](bool started) {
            if (state->done) {
                return;
            }
            state->done = true;
            state->started = started;
            QObject::disconnect(state->startedConnection);
            QObject::disconnect(state->errorConnection);
            handle.resume();
        };
        // Queued: the coroutine carries on outside QProcess's own signal emission, since it may
        // delete the process at once.
        state->startedConnection = QObject::connect(
            process, &QProcess::started, process, [finish] { finish(true); }, Qt::QueuedConnection);
        state->errorConnection = QObject::connect(
            process, &QProcess::errorOccurred, process,
            [finish](QProcess::ProcessError error) {
                if (error == QProcess::FailedToStart) {
                    finish(false);
                }
            },
            Qt::QueuedConnection);
    }

    bool await_resume() const
    {
        return shared->done ? shared->started : process->state() != QProcess::NotRunning;
    }

private:
    struct Shared
    {
        bool done = false;
        bool started = false;
        QMetaObject::Connection startedConnection;
        QMetaObject::Connection errorConnection;
    };

    QProcess* process;
    std::shared_ptr<Shared> shared;
};

} // namespace

void ChildProcess::Release::operator()(QProcess* process) const
{
    if (!process) {
        return;
    }
    if (process->state() == QProcess::NotRunning) {
        delete process;
        return;
    }
    process->disconnect();
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    ChildProcess::kill(process);
}

ChildProcess::Owned ChildProcess::create()
{
    return Owned(new QProcess());
}

void ChildProcess::leadOwnProcessGroup(QProcess& process)
{
    process.setChildProcessModifier([] { ::setpgid(0, 0); });
}

QCoro::Task<bool> ChildProcess::start(QProcess* process, QIODevice::OpenMode mode)
{
    process->start(mode);
    StartAwaiter started(process);
    co_return co_await started;
}

QCoro::Task<bool> ChildProcess::waitForExit(QProcess* process, std::chrono::milliseconds deadline)
{
    if (process->state() == QProcess::NotRunning) {
        co_return true;
    }
    const bool finished = co_await qCoro(process).waitForFinished(deadline);
    if (finished || process->state() == QProcess::NotRunning) {
        co_return true;
    }
    kill(process);
    co_await qCoro(process).waitForFinished(reapGrace);
    co_return false;
}

void ChildProcess::kill(QProcess* process)
{
    if (process->state() == QProcess::NotRunning) {
        return;
    }
    // Not yet reaped, so the id cannot have been reused.
    const auto pid = static_cast<pid_t>(process->processId());
    if (pid > 0 && ::getpgid(pid) == pid && pid != ::getpgrp()) {
        ::kill(-pid, SIGKILL);
    }
    process->kill();
}
