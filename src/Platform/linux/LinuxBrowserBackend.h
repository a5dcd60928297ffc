#pragma once

#include "Platform/BrowserBackend.h"

#include <QFuture>
#include <QList>
#include <QStringList>

#include <functional>

// Drives the browsers on Linux: private windows by launching the browser with its private
// flag, tabs of the Chromium family through their DevTools endpoint, and activation by asking
// the window manager to raise the browser's window (a browser that does not run is started).
class LinuxBrowserBackend : public BrowserBackend
{
public:
    // Profile folders whose DevToolsActivePort tells where a running Chromium-family browser
    // listens. Empty means the usual ones under $XDG_CONFIG_HOME for each browser.
    explicit LinuxBrowserBackend(QStringList profileFolders = {});

    // Finds the running processes with one of the given names; safe on any thread.
    using ProcessLookup = std::function<QList<qint64>(const QStringList& names)>;
    // Replaces the look-up of this user's processes on this display
    // (ProcessTable::ownPidsNamed); tests narrow it to the processes they started.
    void setProcessLookup(ProcessLookup lookup);

    QCoro::Task<> activate(Browser browser) override;
    QCoro::Task<bool> findTab(Browser browser, QString address) override;
    QCoro::Task<> openPrivateWindow(Browser browser, QString url) override;
    QCoro::Task<> reload(Browser browser) override;

    // The profile folders looked at for `browser`.
    QStringList profileFoldersFor(Browser browser) const;
    // The command-line flag that opens a private window.
    static QString privateWindowFlag(Browser browser);

private:
    QCoro::Task<> bringForward(Browser browser);
    QFuture<QList<qint64>> runningInstances(Browser browser) const;

    QStringList profileFolders;
    ProcessLookup processLookup;
};
