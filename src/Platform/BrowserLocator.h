#pragma once

#include "Models/Browser.h"

#include <QString>

#include <memory>
#include <optional>

// Finds installed browsers and the system's default one. macOS asks Launch Services; Linux
// looks for the browsers' executables on PATH and asks xdg-settings for the default.
class BrowserLocator
{
public:
    virtual ~BrowserLocator() = default;

    // True when an application for `browser` (never auto) can be found.
    virtual bool isInstalled(Browser browser) const = 0;

    // The identifier of the application that opens plain http addresses, in the catalogue's
    // bundle-identifier terms ("com.google.Chrome", ...) when it is one of ours, some other
    // identifier for any other browser, an empty one when the application has none or cannot
    // be told; nullopt when no application opens such addresses. May block: call it off the
    // main thread.
    virtual std::optional<QString> defaultBrowserIdentifier() const = 0;

    // The locator of this platform, or the one a test installed.
    static BrowserLocator& shared();
    // Replaces the shared locator (tests); nullptr restores the platform's own.
    static void setShared(std::shared_ptr<BrowserLocator> locator);

    // The platform's own locator.
    static std::shared_ptr<BrowserLocator> makeSystemLocator();
};
