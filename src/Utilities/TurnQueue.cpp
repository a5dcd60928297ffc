#include "Utilities/TurnQueue.h"

#include <QTimer>

namespace {

// From the event loop: whoever lets the turn go is still unwinding.
void resumeLater(std::coroutine_handle<> waiter)
{
    QTimer::singleShot(0, [waiter] { waiter.resume(); });
}

} // namespace

struct TurnQueue::State
{
    bool busy = false;
    bool closed = false;
    std::deque<std::coroutine_handle<>> waiting;
};

TurnQueue::Turn& TurnQueue::Turn::operator=(Turn&& other) noexcept
{
    if (this != &other) {
        release();
        state = std::move(other.state);
    }
    return *this;
}

void TurnQueue::Turn::release()
{
    if (!state) {
        return;
    }
    const std::shared_ptr<State> released = std::move(state);
    state.reset();
    if (released->waiting.empty()) {
        released->busy = false;
        return;
    }
    // Handed straight to the next waiter, so that nobody slips in between.
    const std::coroutine_handle<> next = released->waiting.front();
    released->waiting.pop_front();
    resumeLater(next);
}

TurnQueue::TurnQueue() : state(std::make_shared<State>()) {}

TurnQueue::~TurnQueue()
{
    state->closed = true;
    while (!state->waiting.empty()) {
        resumeLater(state->waiting.front());
        state->waiting.pop_front();
    }
}

bool TurnQueue::isBusy() const
{
    return state->busy;
}

QCoro::Task<TurnQueue::Turn> TurnQueue::take()
{
    // Holds a plain pointer: gcc 12 may destroy a temporary in a co_await expression twice, which
    // a shared_ptr member would pay for with its count.
    struct Awaiter
    {
        State* state;

        bool await_ready() const noexcept { return false; }
        bool await_suspend(std::coroutine_handle<> waiter)
        {
            if (!state->busy || state->closed) {
                state->busy = true;
                return false;
            }
            state->waiting.push_back(waiter);
            return true;
        }
        void await_resume() const noexcept {}
    };

    // The state is held by the coroutine, not reached through `this`, which may be gone when a
    // waiter resumes.
    std::shared_ptr<State> shared = state;
    co_await Awaiter{shared.get()};
    co_return Turn(std::move(shared));
}
