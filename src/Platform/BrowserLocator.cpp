#include "Platform/BrowserLocator.h"

namespace {

std::shared_ptr<BrowserLocator>& installed()
{
    static std::shared_ptr<BrowserLocator> locator;
    return locator;
}

} // namespace

BrowserLocator& BrowserLocator::shared()
{
    if (!installed()) {
        installed() = makeSystemLocator();
    }
    return *installed();
}

void BrowserLocator::setShared(std::shared_ptr<BrowserLocator> locator)
{
    installed() = std::move(locator);
}
