#pragma once

#include "Models/Browser.h"

#include <QString>

// The AppleScript programs that drive the browsers, built from fixed pieces and an address.
// Pure text functions: the exact bytes matter, so they are tested on every platform.
class BrowserScripts
{
public:
    // Makes an address safe between double quotes: backslashes are doubled first, then every
    // double quote gets a backslash. Nothing else is touched.
    static QString escape(const QString& address);

    // The text a tab's address is searched for: every "http://", then every "https://" removed.
    static QString findTabAddress(const QString& url);

    // Brings the browser forward. Empty for auto, which has no application name.
    static QString activate(Browser browser);

    // Chrome and Edge: focuses the first tab whose address contains `address` (already passed
    // through findTabAddress; escaped here) and returns true, false when none or not running.
    // Firefox: returns whether it runs and brings it forward. Empty for auto.
    static QString findTab(Browser browser, const QString& address);

    // Chrome and Edge: a new private window on `url` (escaped here). Empty for the others:
    // Firefox private windows are opened by launching it.
    static QString openPrivateWindow(Browser browser, const QString& url);

    // Chrome and Edge: reloads the front window's active tab. Firefox: activation and a
    // Command-R keystroke through System Events. Empty for auto.
    static QString reload(Browser browser);
};
