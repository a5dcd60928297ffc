#pragma once

#include "support/TestSupport.h"

#include <QCoro/QCoroTask>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>

// Runs a coroutine to its end from a test, processing events meanwhile. Unlike QCoro::waitFor
// it neither hangs on an exception nor waits forever: the task's exception is rethrown, and a
// task that does not finish in time throws std::runtime_error.
namespace TestSupport {

namespace detail {

template <typename T>
struct TaskOutcome
{
    bool done = false;
    std::optional<T> value;
    std::exception_ptr error;
};

template <typename T>
QCoro::Task<> capture(QCoro::Task<T> task, std::shared_ptr<TaskOutcome<T>> outcome)
{
    try {
        outcome->value = co_await std::move(task);
    } catch (...) {
        outcome->error = std::current_exception();
    }
    outcome->done = true;
}

inline QCoro::Task<> capture(QCoro::Task<> task, std::shared_ptr<TaskOutcome<bool>> outcome)
{
    try {
        co_await std::move(task);
        outcome->value = true;
    } catch (...) {
        outcome->error = std::current_exception();
    }
    outcome->done = true;
}

} // namespace detail

template <typename T>
T awaitTask(QCoro::Task<T> task, std::chrono::milliseconds timeout = std::chrono::seconds(60))
{
    auto outcome = std::make_shared<detail::TaskOutcome<T>>();
    detail::capture(std::move(task), outcome);
    if (!waitUntil([&] { return outcome->done; }, timeout)) {
        throw std::runtime_error("the task did not finish in time");
    }
    if (outcome->error) {
        std::rethrow_exception(outcome->error);
    }
    return std::move(*outcome->value);
}

inline void awaitTask(QCoro::Task<> task,
                      std::chrono::milliseconds timeout = std::chrono::seconds(60))
{
    auto outcome = std::make_shared<detail::TaskOutcome<bool>>();
    detail::capture(std::move(task), outcome);
    if (!waitUntil([&] { return outcome->done; }, timeout)) {
        throw std::runtime_error("the task did not finish in time");
    }
    if (outcome->error) {
        std::rethrow_exception(outcome->error);
    }
}

// The exception of type E the task ended with; nullopt when it ended without one (another
// exception type propagates).
template <typename E, typename T>
std::optional<E> errorOf(QCoro::Task<T> task,
                         std::chrono::milliseconds timeout = std::chrono::seconds(60))
{
    try {
        awaitTask(std::move(task), timeout);
    } catch (const E& error) {
        return error;
    }
    return std::nullopt;
}

} // namespace TestSupport
