#pragma once

#include "Models/Browser.h"

#include <QCoro/QCoroTask>
#include <QString>

#include <memory>

// Carries out browser operations for one concrete browser (never auto: BrowserManager resolves
// it first). macOS sends AppleScript programs; Linux launches the browsers, talks to the
// Chromium family's DevTools endpoint and asks the window manager to raise windows. Every
// operation throws BrowserError.
class BrowserBackend
{
public:
    virtual ~BrowserBackend() = default;

    // Brings the browser to the front.
    virtual QCoro::Task<> activate(Browser browser) = 0;

    // Chrome and Edge: focuses the first tab whose address contains `address` (a find-tab
    // address, schemes already removed) and returns true; false when there is none or the
    // browser does not run, which never starts it. Firefox: its tabs cannot be listed, so a
    // running Firefox is brought forward and counts as found.
    virtual QCoro::Task<bool> findTab(Browser browser, QString address) = 0;

    // Opens `url` (as given, with its scheme) in a new private window.
    virtual QCoro::Task<> openPrivateWindow(Browser browser, QString url) = 0;

    // Reloads the front tab; for Firefox through a simulated keystroke.
    virtual QCoro::Task<> reload(Browser browser) = 0;

    // The backend of this platform.
    static std::shared_ptr<BrowserBackend> makeSystemBackend();
};
