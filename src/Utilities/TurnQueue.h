#pragma once

#include <QCoro/QCoroTask>

#include <coroutine>
#include <deque>
#include <memory>

// Lets coroutines on one thread take turns at something that must not overlap: one holds the
// turn, the others wait in the order they asked. A waiter resumes from the event loop once the
// turn before it is over, or once the queue has gone away; in that case whatever it belonged to
// may be gone too, and the waiter has to check.
class TurnQueue
{
    struct State;

public:
    // Holds the turn until it goes out of scope.
    class Turn
    {
    public:
        Turn() = default;
        explicit Turn(std::shared_ptr<State> state) : state(std::move(state)) {}
        Turn(Turn&& other) noexcept = default;
        Turn& operator=(Turn&& other) noexcept;
        ~Turn() { release(); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        void release();
        std::shared_ptr<State> state;
    };

    TurnQueue();
    ~TurnQueue();
    TurnQueue(const TurnQueue&) = delete;
    TurnQueue& operator=(const TurnQueue&) = delete;

    // Whether somebody holds the turn.
    bool isBusy() const;

    // The turn: at once when nobody holds it, otherwise after those who asked before.
    QCoro::Task<Turn> take();

private:
    std::shared_ptr<State> state;
};
