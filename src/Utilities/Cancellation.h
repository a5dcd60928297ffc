#pragma once

#include <QCoro/QCoroTask>
#include <QObject>

#include <chrono>
#include <exception>
#include <memory>

// Thrown by a cancellable wait when its token has been cancelled.
class CancellationError : public std::exception
{
public:
    const char* what() const noexcept override { return "The operation was cancelled."; }
};

class CancellationState : public QObject
{
    Q_OBJECT
public:
    bool isCancelled = false;

Q_SIGNALS:
    void cancelled();
};

// Cooperative cancellation for coroutines: the owner cancels, the task looks at isCancelled()
// at its check points, and a cancellable sleep wakes at once.
class CancellationToken
{
public:
    CancellationToken();

    void cancel() const;
    bool isCancelled() const;

    CancellationState* state() const { return d.get(); }

private:
    std::shared_ptr<CancellationState> d;
};

// Suspends for `duration`; throws CancellationError when the token is (or becomes) cancelled.
// The wake-up after a cancellation is delivered through the event loop, never inside cancel().
QCoro::Task<> sleepFor(std::chrono::milliseconds duration, CancellationToken token);
