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

    // Lists the pages on 127.0.0.1:`port` and activates the first whose address contains
    // `address`. True when one was activated; false when none matches or the endpoint does not
    // answer in time.
    static QCoro::Task<bool> activateTab(int port, QString address);
};
