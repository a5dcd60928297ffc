#pragma once

#include "Platform/BrowserBackend.h"

#include <chrono>
#include <memory>

class ScriptRunner;

// Drives the browsers with AppleScript programs through a ScriptRunner; Firefox private
// windows are opened by launching Firefox through `open`. macOS's backend; it only needs
// QProcess, so it is built and tested everywhere.
class AppleScriptBrowserBackend : public BrowserBackend
{
public:
    // `open` normally returns as soon as the application is launched. One that is still
    // running at its deadline is stopped and reported as a launch that failed.
    static constexpr std::chrono::milliseconds defaultOpenDeadline{60'000};

    // nullptr means an OsascriptRunner; an empty `openTool` means SystemTools::open().
    explicit AppleScriptBrowserBackend(
        std::shared_ptr<ScriptRunner> runner = nullptr, QString openTool = QString(),
        std::chrono::milliseconds openDeadline = defaultOpenDeadline);

    QCoro::Task<> activate(Browser browser) override;
    QCoro::Task<bool> findTab(Browser browser, QString address) override;
    QCoro::Task<> openPrivateWindow(Browser browser, QString url) override;
    QCoro::Task<> reload(Browser browser) override;

private:
    static QCoro::Task<bool> findChromeWindow(std::shared_ptr<ScriptRunner> runner,
                                              QString address);
    static QCoro::Task<bool> findEdgeWindow(std::shared_ptr<ScriptRunner> runner, QString address);
    static QCoro::Task<> openFirefoxPrivate(QString openTool, QString url,
                                            std::chrono::milliseconds deadline);
    static QCoro::Task<> executeAppleScript(std::shared_ptr<ScriptRunner> runner, QString source,
                                            Browser browser);
    static QCoro::Task<bool> executeAppleScriptWithResult(std::shared_ptr<ScriptRunner> runner,
                                                          QString source, Browser browser);

    std::shared_ptr<ScriptRunner> runner;
    QString openTool;
    std::chrono::milliseconds openDeadline;
};
