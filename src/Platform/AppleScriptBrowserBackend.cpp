#include "Platform/AppleScriptBrowserBackend.h"

#include "Models/BrowserError.h"
#include "Platform/OsascriptRunner.h"
#include "Platform/SystemTools.h"
#include "Utilities/BrowserScripts.h"
#include "Utilities/ChildProcess.h"
#include "Utilities/Log.h"

#include <QProcess>

namespace {

// Runs one program and turns every failure into the browser's error.
QCoro::Task<ScriptResult> runChecked(std::shared_ptr<ScriptRunner> runner, QString source,
                                     Browser browser)
{
    const ScriptResult result = co_await runner->run(source);
    if (!result.created) {
        throw BrowserError::scriptFailed(browser, QStringLiteral("Failed to create script"));
    }
    if (!result.error.isEmpty()) {
        throw BrowserError::from(result.error, browser);
    }
    co_return result;
}

} // namespace

AppleScriptBrowserBackend::AppleScriptBrowserBackend(std::shared_ptr<ScriptRunner> runner,
                                                     QString openTool,
                                                     std::chrono::milliseconds openDeadline)
    : runner(runner ? std::move(runner) : std::make_shared<OsascriptRunner>())
    , openTool(openTool.isEmpty() ? SystemTools::open() : std::move(openTool))
    , openDeadline(openDeadline)
{}

QCoro::Task<> AppleScriptBrowserBackend::activate(Browser browser)
{
    const QString source = BrowserScripts::activate(browser);
    if (source.isEmpty()) {
        co_return;
    }
    co_await executeAppleScript(runner, source, browser);
}

QCoro::Task<bool> AppleScriptBrowserBackend::findTab(Browser browser, QString address)
{
    switch (browser) {
    case Browser::chrome:
        co_return co_await findChromeWindow(runner, address);
    case Browser::edge:
        co_return co_await findEdgeWindow(runner, address);
    case Browser::firefox:
        co_return co_await executeAppleScriptWithResult(
            runner, BrowserScripts::findTab(Browser::firefox, address), Browser::firefox);
    case Browser::auto_:
        break;
    }
    co_return false;
}

QCoro::Task<> AppleScriptBrowserBackend::openPrivateWindow(Browser browser, QString url)
{
    switch (browser) {
    case Browser::chrome:
    case Browser::edge:
        co_await executeAppleScript(runner, BrowserScripts::openPrivateWindow(browser, url),
                                    browser);
        break;
    case Browser::firefox:
        co_await openFirefoxPrivate(openTool, url, openDeadline);
        break;
    case Browser::auto_:
        break;
    }
}

QCoro::Task<> AppleScriptBrowserBackend::reload(Browser browser)
{
    const QString source = BrowserScripts::reload(browser);
    if (source.isEmpty()) {
        co_return;
    }
    co_await executeAppleScript(runner, source, browser);
}

QCoro::Task<bool> AppleScriptBrowserBackend::findChromeWindow(std::shared_ptr<ScriptRunner> runner,
                                                              QString address)
{
    co_return co_await executeAppleScriptWithResult(
        runner, BrowserScripts::findTab(Browser::chrome, address), Browser::chrome);
}

QCoro::Task<bool> AppleScriptBrowserBackend::findEdgeWindow(std::shared_ptr<ScriptRunner> runner,
                                                            QString address)
{
    co_return co_await executeAppleScriptWithResult(
        runner, BrowserScripts::findTab(Browser::edge, address), Browser::edge);
}

QCoro::Task<> AppleScriptBrowserBackend::openFirefoxPrivate(QString openTool, QString url,
                                                            std::chrono::milliseconds deadline)
{
    const ChildProcess::Owned child = ChildProcess::create();
    QProcess& process = *child;
    process.setProgram(openTool);
    process.setArguments({QStringLiteral("-na"), QStringLiteral("Firefox"),
                          QStringLiteral("--args"), QStringLiteral("-private-window"), url});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    // Awaited into named values: gcc 12 mishandles a co_await inside a condition.
    const bool started = co_await ChildProcess::start(&process, QIODevice::ReadOnly);
    if (!started) {
        throw BrowserError::scriptFailed(Browser::firefox, process.errorString());
    }
    const bool finished = co_await ChildProcess::waitForExit(&process, deadline);
    if (!finished) {
        // Stopped like a launch that failed: the tool, not the browser, is what did not answer.
        const QString problem = QStringLiteral("open timed out after %1 s")
                                    .arg(static_cast<double>(deadline.count()) / 1000.0);
        Log::line(QStringLiteral("⚠️ [AppleScriptBrowserBackend] ") + problem);
        throw BrowserError::scriptFailed(Browser::firefox, problem);
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        throw BrowserError::browserNotFound(Browser::firefox);
    }
}

QCoro::Task<> AppleScriptBrowserBackend::executeAppleScript(std::shared_ptr<ScriptRunner> runner,
                                                            QString source, Browser browser)
{
    co_await runChecked(std::move(runner), std::move(source), browser);
}

QCoro::Task<bool>
AppleScriptBrowserBackend::executeAppleScriptWithResult(std::shared_ptr<ScriptRunner> runner,
                                                        QString source, Browser browser)
{
    const ScriptResult result = co_await runChecked(std::move(runner), std::move(source), browser);
    co_return result.booleanValue();
}
