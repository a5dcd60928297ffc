#pragma once

#include "Controllers/DeferredActionScheduler.h"

// Deferred work on single-shot QTimers of the main event loop.
class TimerActionScheduler final : public DeferredActionScheduler
{
public:
    std::shared_ptr<PendingAction> schedule(std::chrono::milliseconds delay,
                                            std::function<void()> work) override;
};
