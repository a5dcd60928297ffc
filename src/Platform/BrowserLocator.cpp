#include "Platform/BrowserLocator.h"

#include <QMutex>
#include <QMutexLocker>

namespace {

struct SharedLocator
{
    QMutex mutex;
    std::shared_ptr<BrowserLocator> locator;
};

SharedLocator& installed()
{
    static SharedLocator instance;
    return instance;
}

} // namespace

BrowserLocator& BrowserLocator::shared()
{
    // Read from worker threads too (auto is resolved off the main thread).
    SharedLocator& state = installed();
    QMutexLocker locker(&state.mutex);
    if (!state.locator) {
        state.locator = makeSystemLocator();
    }
    return *state.locator;
}

void BrowserLocator::setShared(std::shared_ptr<BrowserLocator> locator)
{
    SharedLocator& state = installed();
    QMutexLocker locker(&state.mutex);
    state.locator = std::move(locator);
}
