#pragma once

#include <QCoro/QCoroTask>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QWebSocket>

#include <chrono>
#include <optional>

// One connection to a Chromium-family browser's DevTools protocol endpoint (a websocket),
// sending commands and awaiting their answers. Every wait has a deadline.
class DevToolsSession
{
public:
    DevToolsSession();
    ~DevToolsSession();
    DevToolsSession(const DevToolsSession&) = delete;
    DevToolsSession& operator=(const DevToolsSession&) = delete;

    // Connects to `url` (ws://127.0.0.1:PORT/devtools/browser/ID); false when it does not
    // answer within `timeout`.
    QCoro::Task<bool> open(QUrl url, std::chrono::milliseconds timeout);
    // Sends `method` with `params` and returns the command's result; nullopt when the browser
    // reports an error, the connection drops or no answer comes within `timeout`.
    QCoro::Task<std::optional<QJsonObject>> call(QString method, QJsonObject params,
                                                 std::chrono::milliseconds timeout);

private:
    void receive(const QString& message);

    QWebSocket socket;
    int lastId = 0;
    // Answers by command id, until their caller takes them.
    QHash<int, QJsonObject> answers;
};
