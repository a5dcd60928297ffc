#include "Platform/linux/LinuxBrowserBackend.h"

#include "Models/BrowserError.h"
#include "Platform/linux/BrowserExecutables.h"
#include "Platform/linux/ChromiumDevTools.h"
#include "Platform/linux/ProcessTable.h"
#include "Platform/linux/X11WindowActivator.h"

#include <QCoro/QCoroFuture>
#include <QCoro/QCoroTimer>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QtConcurrent/QtConcurrentRun>

namespace {

// Starts `browser` with `arguments`, detached: the browser outlives wisp. A missing executable
// means the browser is not installed. Looks through PATH and forks, so it runs on a worker
// thread; the error comes back as a value because exceptions do not cross QtConcurrent.
std::optional<BrowserError> launchDetached(Browser browser, const QStringList& arguments)
{
    const QString executable = BrowserExecutables::find(browser);
    if (executable.isEmpty()) {
        return BrowserError::browserNotFound(browser);
    }
    QProcess process;
    process.setProgram(executable);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    if (!process.startDetached()) {
        return BrowserError::scriptFailed(browser, process.errorString());
    }
    return std::nullopt;
}

// The blocking helpers below run on worker threads and are plain functions returning futures:
// gcc 12 miscompiles a lambda inside a coroutine that captures the coroutine's parameters.
QFuture<std::optional<BrowserError>> launch(Browser browser, const QStringList& arguments)
{
    return QtConcurrent::run([browser, arguments] { return launchDetached(browser, arguments); });
}

// Window class names of each browser's windows, for windows that do not name their process.
QStringList windowClasses(Browser browser)
{
    switch (browser) {
    case Browser::chrome:
        return {QStringLiteral("google-chrome"), QStringLiteral("chromium"),
                QStringLiteral("chromium-browser")};
    case Browser::edge:
        return {QStringLiteral("microsoft-edge")};
    case Browser::firefox:
        return {QStringLiteral("firefox"), QStringLiteral("firefox-esr")};
    case Browser::auto_:
        break;
    }
    return {};
}

QFuture<bool> raiseWindow(Browser browser, const QList<qint64>& pids,
                          const QString& title = QString())
{
    const QStringList classes = windowClasses(browser);
    return QtConcurrent::run(
        [pids, classes, title] { return X11WindowActivator::activate(pids, classes, title); });
}

} // namespace

LinuxBrowserBackend::LinuxBrowserBackend(QStringList profileFolders)
    : profileFolders(std::move(profileFolders)), processLookup(&ProcessTable::ownPidsNamed)
{}

void LinuxBrowserBackend::setProcessLookup(ProcessLookup lookup)
{
    processLookup = std::move(lookup);
}

QFuture<QList<qint64>> LinuxBrowserBackend::runningInstances(Browser browser) const
{
    return QtConcurrent::run(processLookup, BrowserExecutables::processNames(browser));
}

// Raises a running browser's window, or starts the browser.
QCoro::Task<> LinuxBrowserBackend::bringForward(Browser browser)
{
    const QList<qint64> pids = co_await runningInstances(browser);
    if (pids.isEmpty()) {
        const std::optional<BrowserError> error = co_await launch(browser, QStringList());
        if (error) {
            throw *error;
        }
        co_return;
    }
    // A browser without a window on this display (or no display at all) has nothing to raise.
    co_await raiseWindow(browser, pids);
}

QStringList LinuxBrowserBackend::profileFoldersFor(Browser browser) const
{
    if (!profileFolders.isEmpty()) {
        return profileFolders;
    }
    const QDir config(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation));
    // Snap and Flatpak builds keep their profiles in folders of their own.
    const QDir home = QDir::home();
    switch (browser) {
    case Browser::chrome:
        return {config.filePath(QStringLiteral("google-chrome")),
                config.filePath(QStringLiteral("chromium")),
                home.filePath(QStringLiteral("snap/chromium/common/chromium")),
                home.filePath(QStringLiteral(".var/app/com.google.Chrome/config/google-chrome")),
                home.filePath(QStringLiteral(".var/app/org.chromium.Chromium/config/chromium"))};
    case Browser::edge:
        return {config.filePath(QStringLiteral("microsoft-edge")),
                home.filePath(QStringLiteral(".var/app/com.microsoft.Edge/config/microsoft-edge"))};
    case Browser::firefox:
    case Browser::auto_:
        break;
    }
    return {};
}

QString LinuxBrowserBackend::privateWindowFlag(Browser browser)
{
    switch (browser) {
    case Browser::chrome:
        return QStringLiteral("--incognito");
    case Browser::edge:
        return QStringLiteral("--inprivate");
    case Browser::firefox:
        return QStringLiteral("--private-window");
    case Browser::auto_:
        break;
    }
    return QString();
}

QCoro::Task<> LinuxBrowserBackend::activate(Browser browser)
{
    if (browser == Browser::auto_) {
        co_return;
    }
    co_await bringForward(browser);
}

QCoro::Task<bool> LinuxBrowserBackend::findTab(Browser browser, QString address)
{
    switch (browser) {
    case Browser::chrome:
    case Browser::edge: {
        const QStringList folders = profileFoldersFor(browser);
        for (const QString& folder : folders) {
            const std::optional<int> port = ChromiumDevTools::activePort(folder);
            if (!port) {
                continue;
            }
            // Awaited into a named value: gcc 12 mishandles a co_await inside a condition.
            const std::optional<ChromiumDevTools::Tab> tab = co_await ChromiumDevTools::activateTab(
                *port, address, ChromiumDevTools::browserPath(folder));
            if (tab) {
                // The window that holds the tab, which is not always the newest one.
                const QList<qint64> pids = co_await runningInstances(browser);
                co_await raiseWindow(browser, pids, tab->title);
                co_return true;
            }
        }
        co_return false;
    }
    case Browser::firefox: {
        const QList<qint64> pids = co_await runningInstances(browser);
        if (pids.isEmpty()) {
            co_return false;
        }
        // Found means brought forward: a Firefox whose window cannot be raised would leave the
        // click doing nothing visible.
        const bool raised = co_await raiseWindow(browser, pids);
        if (!raised) {
            throw BrowserError::scriptFailed(
                browser, QStringLiteral("No Firefox window to bring to the front on this display"));
        }
        co_return true;
    }
    case Browser::auto_:
        break;
    }
    co_return false;
}

QCoro::Task<> LinuxBrowserBackend::openPrivateWindow(Browser browser, QString url)
{
    if (browser == Browser::auto_) {
        co_return;
    }
    // Named first: gcc 12 cannot keep a braced list alive across a co_await.
    const QStringList arguments{privateWindowFlag(browser), url};
    const std::optional<BrowserError> error = co_await launch(browser, arguments);
    if (error) {
        throw *error;
    }
}

QCoro::Task<> LinuxBrowserBackend::reload(Browser browser)
{
    if (browser == Browser::auto_) {
        co_return;
    }
    co_await bringForward(browser);
    // Give the window manager a moment to hand the browser the keyboard focus.
    co_await QCoro::sleepFor(std::chrono::milliseconds(100));
    const bool sent =
        co_await QtConcurrent::run([] { return X11WindowActivator::sendReloadKeystroke(); });
    if (!sent) {
        throw BrowserError::scriptFailed(browser,
                                         QStringLiteral("No X11 display to send the reload "
                                                        "keystroke to"));
    }
}

std::shared_ptr<BrowserBackend> BrowserBackend::makeSystemBackend()
{
    return std::make_shared<LinuxBrowserBackend>();
}
