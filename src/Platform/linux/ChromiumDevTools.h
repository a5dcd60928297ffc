#pragma once

#include <QCoro/QCoroTask>
#include <QString>

#include <chrono>
#include <optional>

// Finds and focuses tabs of a running Chromium-family browser through its DevTools HTTP
// endpoint, which a browser started with --remote-debugging-port announces in its profile
// folder's DevToolsActivePort file.
class ChromiumDevTools
{
public:
    static constexpr std::chrono::milliseconds requestTimeout{3000};

    // The port on the file's first line; nullopt when there is no such file or no port in it.
    static std::optional<int> activePort(const QString& profileFolder);

    // A tab that was activated: its page title (which its window's title begins with once the
    // tab is active) and the browser's id of the window holding it (0 when unknown).
    struct Tab
    {
        QString targetId;
        QString title;
        qint64 windowId = 0;
    };

    // The browser's own DevTools websocket path, on the file's second line; empty when none.
    static QString browserPath(const QString& profileFolder);

    // Activates the first tab on 127.0.0.1:`port` whose address contains `address`, in
    // front-to-back window order (the window whose tab was active last is in front), then in
    // its window's tab order (the order the tabs were opened in). Windows and tabs are told
    // apart through the DevTools protocol on `browserPath` (or the path the endpoint gives);
    // without it the most recently active match is taken. Nullopt when no tab matches or the
    // endpoint does not answer in time.
    static QCoro::Task<std::optional<Tab>> activateTab(int port, QString address,
                                                       QString browserPath = QString());
};
