#include "Managers/BrowserManager.h"

#include "Platform/BrowserBackend.h"
#include "Platform/BrowserLocator.h"
#include "Utilities/BrowserScripts.h"
#include "Utilities/Log.h"

#include <QCoro/QCoroFuture>
#include <QtConcurrent/QtConcurrentRun>

BrowserManager::BrowserManager(std::shared_ptr<BrowserBackend> backend, QObject* parent)
    : BrowserManaging(parent)
    , backend(backend ? std::move(backend) : BrowserBackend::makeSystemBackend())
{}

Browser BrowserManager::getDefaultBrowser()
{
    return defaultBrowser(BrowserLocator::shared());
}

Browser BrowserManager::defaultBrowser(const BrowserLocator& locator)
{
    const std::optional<QString> identifier = locator.defaultBrowserIdentifier();
    if (!identifier) {
        return Browser::chrome;
    }
    for (const Browser browser : {Browser::chrome, Browser::firefox, Browser::edge}) {
        if (*identifier == browser.bundleIdentifier()) {
            return browser;
        }
    }
    for (const Browser browser : {Browser::chrome, Browser::firefox, Browser::edge}) {
        if (locator.isInstalled(browser)) {
            return browser;
        }
    }
    return Browser::chrome;
}

bool BrowserManager::isInstalled(Browser browser)
{
    if (browser == Browser::auto_) {
        return true;
    }
    return BrowserLocator::shared().isInstalled(browser);
}

QCoro::Task<Browser> BrowserManager::resolve(Browser browser)
{
    if (browser != Browser::auto_) {
        co_return browser;
    }
    co_return co_await QtConcurrent::run([] { return defaultBrowser(BrowserLocator::shared()); });
}

QCoro::Task<> BrowserManager::activateBrowser(Browser browser)
{
    // Held locally: the manager may go away while the work is suspended.
    const std::shared_ptr<BrowserBackend> driver = backend;
    const Browser target = co_await resolve(browser);
    co_await driver->activate(target);
}

QCoro::Task<bool> BrowserManager::findExistingWindow(QString url, Browser browser)
{
    const std::shared_ptr<BrowserBackend> driver = backend;
    const Browser target = co_await resolve(browser);
    co_return co_await driver->findTab(target, BrowserScripts::findTabAddress(url));
}

QCoro::Task<> BrowserManager::openIncognito(QString url, Browser browser)
{
    const std::shared_ptr<BrowserBackend> driver = backend;
    const Browser target = co_await resolve(browser);
    co_await driver->openPrivateWindow(target, url);
}

QCoro::Task<> BrowserManager::reloadPage(Browser browser)
{
    const std::shared_ptr<BrowserBackend> driver = backend;
    if (browser == Browser::chrome || browser == Browser::edge) {
        co_await driver->reload(browser);
        co_return;
    }
    Log::print(
        QStringLiteral("ℹ️ Firefox reload uses keystroke simulation - may be less reliable"));
    co_await driver->reload(Browser::firefox);
}
