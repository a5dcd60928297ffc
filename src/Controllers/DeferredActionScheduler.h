#pragma once

#include <chrono>
#include <functional>
#include <memory>

// Work scheduled to run once, later, on the main thread; it can be cancelled until it runs.
class PendingAction
{
public:
    virtual ~PendingAction() = default;
    virtual void cancel() = 0;
    virtual bool isCancelled() const = 0;
};

// Runs work after a delay on the main thread. Tests replace it with a manual scheduler so that
// click timing can be driven without waiting.
class DeferredActionScheduler
{
public:
    virtual ~DeferredActionScheduler() = default;

    // The returned handle owns the schedule: dropping it cancels the work.
    virtual std::shared_ptr<PendingAction> schedule(std::chrono::milliseconds delay,
                                                    std::function<void()> work) = 0;
};
