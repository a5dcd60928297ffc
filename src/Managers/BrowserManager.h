#pragma once

#include "Protocols/BrowserManaging.h"

#include <memory>

class BrowserBackend;
class BrowserLocator;

// Opens and focuses the project's site in the browsers. Holds nothing between calls: auto is
// resolved anew by every operation that receives it, and the work itself is the backend's.
class BrowserManager : public BrowserManaging
{
    Q_OBJECT
public:
    // nullptr means the platform's backend.
    explicit BrowserManager(std::shared_ptr<BrowserBackend> backend = nullptr,
                            QObject* parent = nullptr);

    // Asks the shared BrowserLocator; may block, so the operations below call it off the main
    // thread.
    Browser getDefaultBrowser() override;
    // The default-browser rule over a given locator: the system default when it is one of
    // ours (compared exactly, in the order chrome, firefox, edge), else the first installed of
    // chrome, firefox, edge, else chrome.
    static Browser defaultBrowser(const BrowserLocator& locator);
    // auto is always installed; the others when the shared BrowserLocator finds them, asked
    // anew at each call.
    static bool isInstalled(Browser browser);

    QCoro::Task<> activateBrowser(Browser browser) override;
    QCoro::Task<bool> findExistingWindow(QString url, Browser browser) override;
    QCoro::Task<> openIncognito(QString url, Browser browser) override;
    // Does not resolve auto: auto takes Firefox's keystroke path and reports as Firefox.
    QCoro::Task<> reloadPage(Browser browser) override;

private:
    // `browser` itself, or for auto the default browser, found on a worker thread.
    static QCoro::Task<Browser> resolve(Browser browser);

    std::shared_ptr<BrowserBackend> backend;
};
