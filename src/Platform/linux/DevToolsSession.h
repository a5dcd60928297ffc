#pragma once

#include <QCoro/QCoroTask>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QWebSocket>

#include <chrono>
#include <optional>

// One connection to a Chromium-family browser's DevTools protocol endpoint (a websocket),
// sending commands and awaiting their answers, one command at a time. Every wait has a
// deadline.
class DevToolsSession : public QObject
{
    Q_OBJECT
public:
    DevToolsSession();
    ~DevToolsSession() override;
    DevToolsSession(const DevToolsSession&) = delete;
    DevToolsSession& operator=(const DevToolsSession&) = delete;

    // Connects to `url` (ws://127.0.0.1:PORT/devtools/browser/ID); false when it does not
    // answer within `timeout`.
    QCoro::Task<bool> open(QUrl url, std::chrono::milliseconds timeout);
    // Sends `method` with `params` and returns the command's result; nullopt when the browser
    // reports an error, the connection drops or no answer comes within `timeout`. With a
    // `targetSession` (from Target.attachToTarget with flatten) the command goes to that
    // target instead of the browser.
    QCoro::Task<std::optional<QJsonObject>> call(QString method, QJsonObject params,
                                                 std::chrono::milliseconds timeout,
                                                 QString targetSession = QString());

Q_SIGNALS:
    // The answer to the command being awaited came.
    void answerArrived();

private:
    void receive(const QString& message);

    QWebSocket socket;
    int lastId = 0;
    // The command whose answer is awaited; answers to others (late ones, after their deadline)
    // and events are dropped, so that a burst of messages wakes the waiting call only once.
    int awaitedId = 0;
    // Answers by command id, until their caller takes them.
    QHash<int, QJsonObject> answers;
};
