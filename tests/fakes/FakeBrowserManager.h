#pragma once

#include "Models/BrowserError.h"
#include "Protocols/BrowserManaging.h"
#include "fakes/Gate.h"

#include <QElapsedTimer>
#include <QStringList>

#include <optional>

// Records every call as text ("openIncognito(http://localhost:3000, chrome)", ...) with the
// time it came, and fails or finds windows as scripted.
class FakeBrowserManager : public BrowserManaging
{
    Q_OBJECT
public:
    FakeBrowserManager() { clock.start(); }

    // Script.
    Browser defaultBrowser = Browser::chrome;
    bool windowFound = false;
    std::optional<BrowserError> findError;
    std::optional<BrowserError> openError;
    std::optional<BrowserError> activateError;
    Gate* openGate = nullptr;

    // Observations.
    QStringList calls;
    QList<qint64> callTimes;
    QElapsedTimer clock;

    Browser getDefaultBrowser() override { return defaultBrowser; }

    QCoro::Task<> activateBrowser(Browser browser) override
    {
        record(QStringLiteral("activateBrowser(%1)").arg(browser.rawValue()));
        if (activateError) {
            throw *activateError;
        }
        co_return;
    }

    QCoro::Task<bool> findExistingWindow(QString url, Browser browser) override
    {
        record(QStringLiteral("findExistingWindow(%1, %2)").arg(url, browser.rawValue()));
        if (findError) {
            throw *findError;
        }
        co_return windowFound;
    }

    QCoro::Task<> openIncognito(QString url, Browser browser) override
    {
        record(QStringLiteral("openIncognito(%1, %2)").arg(url, browser.rawValue()));
        co_await passGate(openGate);
        if (openError) {
            throw *openError;
        }
    }

    QCoro::Task<> reloadPage(Browser browser) override
    {
        record(QStringLiteral("reloadPage(%1)").arg(browser.rawValue()));
        co_return;
    }

private:
    void record(const QString& call)
    {
        calls.append(call);
        callTimes.append(clock.elapsed());
    }
};
