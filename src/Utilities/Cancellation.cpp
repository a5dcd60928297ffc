#include "Utilities/Cancellation.h"

#include <QPointer>
#include <QTimer>

#include <coroutine>
#include <utility>

CancellationToken::CancellationToken() : d(std::make_shared<CancellationState>()) {}

void CancellationToken::cancel() const
{
    if (d->isCancelled) {
        return;
    }
    d->isCancelled = true;
    Q_EMIT d->cancelled();
}

bool CancellationToken::isCancelled() const
{
    return d->isCancelled;
}

namespace {

// Copyable awaiter (QCoro's awaitable check copies it); the timer lives in shared state.
class CancellableSleep
{
public:
    CancellableSleep(std::chrono::milliseconds duration, CancellationToken token)
        : duration(duration), token(std::move(token)), timer(std::make_shared<QTimer>())
    {}

    bool await_ready() const noexcept { return token.isCancelled() || duration.count() <= 0; }

    void await_suspend(std::coroutine_handle<> handle)
    {
        QTimer* sleeper = timer.get();
        sleeper->setSingleShot(true);
        // A coarse timer may fire up to 5 % early; a sleep never ends before its time.
        sleeper->setTimerType(Qt::PreciseTimer);
        auto connections =
            std::make_shared<std::pair<QMetaObject::Connection, QMetaObject::Connection>>();
        auto wake = [sleeper, connections, handle]() {
            QObject::disconnect(connections->first);
            QObject::disconnect(connections->second);
            sleeper->stop();
            handle.resume();
        };
        connections->first = QObject::connect(sleeper, &QTimer::timeout, sleeper, wake);
        // Queued so that cancel() returns before the sleeping task runs on.
        connections->second = QObject::connect(token.state(), &CancellationState::cancelled,
                                               sleeper, wake, Qt::QueuedConnection);
        sleeper->start(duration);
    }

    void await_resume() const
    {
        if (token.isCancelled()) {
            throw CancellationError();
        }
    }

private:
    std::chrono::milliseconds duration;
    CancellationToken token;
    std::shared_ptr<QTimer> timer;
};

} // namespace

QCoro::Task<> sleepFor(std::chrono::milliseconds duration, CancellationToken token)
{
    CancellableSleep sleep(duration, std::move(token));
    co_await sleep;
}
