#include "Controllers/TimerActionScheduler.h"

#include <QTimer>

namespace {

class TimerPendingAction final : public PendingAction
{
public:
    TimerPendingAction() { timer.setSingleShot(true); }

    void cancel() override
    {
        cancelled = true;
        timer.stop();
    }
    bool isCancelled() const override { return cancelled; }

    QTimer timer;
    bool cancelled = false;
};

} // namespace

std::shared_ptr<PendingAction> TimerActionScheduler::schedule(std::chrono::milliseconds delay,
                                                              std::function<void()> work)
{
    auto action = std::make_shared<TimerPendingAction>();
    // Precise: the single-click delay is what tells a click from a double click.
    action->timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&action->timer, &QTimer::timeout, &action->timer,
                     [raw = action.get(), work = std::move(work)]() {
                         if (!raw->cancelled) {
                             work();
                         }
                     });
    action->timer.start(delay);
    return action;
}
