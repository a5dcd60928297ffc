#include "Controllers/ClickClassifier.h"

#include "Controllers/TimerActionScheduler.h"

#include <cmath>

ClickClassifier::ClickClassifier(Clock clock, std::shared_ptr<DeferredActionScheduler> scheduler)
    : clock(clock ? std::move(clock) : Clock([] { return std::chrono::steady_clock::now(); }))
    , scheduler(scheduler ? std::move(scheduler) : std::make_shared<TimerActionScheduler>())
{}

ClickClassifier::~ClickClassifier()
{
    // The scheduled work refers to this object; it must never run after it is gone.
    if (pendingAction) {
        pendingAction->cancel();
    }
}

void ClickClassifier::handleLeftClick()
{
    const TimePoint now = clock();
    if (lastClickTime && now - *lastClickTime < interval()) {
        if (pendingAction) {
            pendingAction->cancel();
        }
        pendingAction.reset();
        lastClickTime.reset();
        showMenu();
        return;
    }

    lastClickTime = now;
    if (pendingAction) {
        pendingAction->cancel();
    }
    pendingAction = scheduler->schedule(interval(), [this, alive = std::weak_ptr<int>(lifetime)]() {
        if (onSingleClick) {
            onSingleClick();
        }
        // The single-click action may have torn down the status item and with it this object.
        if (!alive.expired()) {
            lastClickTime.reset();
        }
    });
}

void ClickClassifier::handleRightClick()
{
    showMenu();
}

void ClickClassifier::handleMissingEvent()
{
    showMenu();
}

void ClickClassifier::showMenu()
{
    if (onShowMenu) {
        onShowMenu();
    }
}

std::chrono::milliseconds ClickClassifier::interval() const
{
    return std::chrono::milliseconds(std::llround(doubleClickInterval * 1000.0));
}
