#pragma once

#include "Controllers/DeferredActionScheduler.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

// Tells a single click on the status item from a double click. A left click acts only after
// `doubleClickInterval` has passed without a second one; a second left click within the
// interval, a right click or a click without an event opens the menu instead.
class ClickClassifier
{
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Clock = std::function<TimePoint()>;

    // With no clock or scheduler, the steady clock and main-loop timers are used.
    explicit ClickClassifier(Clock clock = nullptr,
                             std::shared_ptr<DeferredActionScheduler> scheduler = nullptr);
    ~ClickClassifier();
    ClickClassifier(const ClickClassifier&) = delete;
    ClickClassifier& operator=(const ClickClassifier&) = delete;

    void handleLeftClick();
    // A right click opens the menu and leaves a pending single click pending.
    void handleRightClick();
    // Activation without a usable event (the platform could not say which button).
    void handleMissingEvent();

    // Called for a single click, once its interval has passed.
    std::function<void()> onSingleClick;
    std::function<void()> onShowMenu;

    // Time of the last unpaired left click.
    std::optional<TimePoint> lastClickTime;
    // Seconds.
    double doubleClickInterval = 0.5;
    // The deferred single-click action; left in place after it ran.
    std::shared_ptr<PendingAction> pendingAction;

private:
    void showMenu();
    std::chrono::milliseconds interval() const;

    Clock clock;
    std::shared_ptr<DeferredActionScheduler> scheduler;
    std::shared_ptr<int> lifetime = std::make_shared<int>(0);
};
