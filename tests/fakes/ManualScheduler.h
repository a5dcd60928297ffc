#pragma once

#include "Controllers/ClickClassifier.h"
#include "Controllers/DeferredActionScheduler.h"

#include <memory>
#include <vector>

// A clock that moves only when the test says so.
class ManualClock
{
public:
    ClickClassifier::TimePoint now = ClickClassifier::TimePoint(std::chrono::hours(1));

    ClickClassifier::Clock function()
    {
        return [this]() {
            return now;
        };
    }
};

// Deferred work that runs only when the test advances the manual clock past its time.
class ManualScheduler : public DeferredActionScheduler
{
public:
    explicit ManualScheduler(ManualClock& clock) : clock(clock) {}

    struct Entry : PendingAction
    {
        ClickClassifier::TimePoint due;
        std::function<void()> work;
        bool cancelled = false;
        bool ran = false;

        void cancel() override { cancelled = true; }
        bool isCancelled() const override { return cancelled; }
    };

    std::shared_ptr<PendingAction> schedule(std::chrono::milliseconds delay,
                                            std::function<void()> work) override
    {
        auto entry = std::make_shared<Entry>();
        entry->due = clock.now + delay;
        entry->work = std::move(work);
        entries.push_back(entry);
        ++scheduledCount;
        return entry;
    }

    // Moves the clock forward and runs what has become due, in order.
    void advance(std::chrono::milliseconds step)
    {
        clock.now += step;
        for (std::size_t index = 0; index < entries.size(); ++index) {
            const std::shared_ptr<Entry> entry = entries[index].lock();
            if (entry && !entry->cancelled && !entry->ran && entry->due <= clock.now) {
                entry->ran = true;
                entry->work();
            }
        }
    }

    // Scheduled work neither cancelled, run nor dropped.
    int pendingCount() const
    {
        int count = 0;
        for (const auto& weak : entries) {
            const auto entry = weak.lock();
            if (entry && !entry->cancelled && !entry->ran) {
                ++count;
            }
        }
        return count;
    }

    int scheduledCount = 0;

private:
    ManualClock& clock;
    std::vector<std::weak_ptr<Entry>> entries;
};
