#include "Utilities/ChildProcess.h"

#include <QProcess>

#include <array>
#include <coroutine>
#include <memory>

namespace {

// Suspends until the process has started or failed to start. The coroutine is resumed from
// the event loop rather than inside the signal, because it may delete the process at once.
class StartedOrFailed
{
public:
    explicit StartedOrFailed(QProcess* process) : process(process) {}

    bool await_ready() const noexcept { return process->state() != QProcess::Starting; }

    void await_suspend(std::coroutine_handle<> awaiting)
    {
        struct State
        {
            bool resumed = false;
            std::array<QMetaObject::Connection, 2> connections;
        };
        auto state = std::make_shared<State>();
        const auto resume = [awaiting, state] {
            if (state->resumed) {
                return;
            }
            state->resumed = true;
            for (const QMetaObject::Connection& connection : state->connections) {
                QObject::disconnect(connection);
            }
            awaiting.resume();
        };
        state->connections[0] =
            QObject::connect(process, &QProcess::started, process, resume, Qt::QueuedConnection);
        state->connections[1] = QObject::connect(process, &QProcess::errorOccurred, process, resume,
                                                 Qt::QueuedConnection);
    }

    void await_resume() const noexcept {}

private:
    QProcess* process;
};

} // namespace

QCoro::Task<bool> ChildProcess::start(QProcess* process, QIODevice::OpenMode mode)
{
    process->start(mode);
    co_await StartedOrFailed(process);
    co_return !(process->state() == QProcess::NotRunning &&
                process->error() == QProcess::FailedToStart);
}
