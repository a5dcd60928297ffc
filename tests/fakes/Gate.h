#pragma once

#include "Utilities/Cancellation.h"

#include <QCoro/QCoroSignal>
#include <QCoro/QCoroTask>
#include <QObject>

// A door a fake's coroutine waits at until the test opens it, so tests can interleave
// operations that would otherwise finish at once.
class Gate : public QObject
{
    Q_OBJECT
public:
    void open()
    {
        isOpen = true;
        Q_EMIT opened();
    }

    // Number of coroutines waiting right now.
    int waiting = 0;
    bool isOpen = false;

    QCoro::Task<> pass()
    {
        if (isOpen) {
            co_return;
        }
        ++waiting;
        co_await qCoro(this, &Gate::opened);
        --waiting;
    }

Q_SIGNALS:
    void opened();
};

// Waits at `gate` when there is one.
inline QCoro::Task<> passGate(Gate* gate)
{
    if (gate) {
        co_await gate->pass();
    }
}

// Waits at `gate` until it opens or `cancel` is cancelled, whichever comes first.
inline QCoro::Task<> passGateUnlessCancelled(Gate* gate, CancellationToken cancel)
{
    if (gate->isOpen || cancel.isCancelled()) {
        co_return;
    }
    Gate either;
    QObject::connect(gate, &Gate::opened, &either, &Gate::open);
    QObject::connect(cancel.state(), &CancellationState::cancelled, &either, &Gate::open);
    ++gate->waiting;
    co_await either.pass();
    --gate->waiting;
}
