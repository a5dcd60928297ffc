#include "Platform/linux/DevToolsSession.h"

#include <QCoro/QCoroSignal>
#include <QCoro/QCoroWebSocket>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QNetworkProxy>

DevToolsSession::DevToolsSession()
{
    // The endpoint is local; a proxy from the environment must not stand in between.
    socket.setProxy(QNetworkProxy::NoProxy);
    QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket,
                     [this](const QString& message) { receive(message); });
}

DevToolsSession::~DevToolsSession()
{
    socket.abort();
}

QCoro::Task<bool> DevToolsSession::open(QUrl url, std::chrono::milliseconds timeout)
{
    const bool connected = co_await qCoro(socket).open(url, timeout);
    co_return connected&& socket.state() == QAbstractSocket::ConnectedState;
}

QCoro::Task<std::optional<QJsonObject>> DevToolsSession::call(QString method, QJsonObject params,
                                                              std::chrono::milliseconds timeout,
                                                              QString targetSession)
{
    const int id = ++lastId;
    QJsonObject command{{QStringLiteral("id"), id},
                        {QStringLiteral("method"), method},
                        {QStringLiteral("params"), params}};
    if (!targetSession.isEmpty()) {
        command.insert(QStringLiteral("sessionId"), targetSession);
    }
    awaitedId = id;
    socket.sendTextMessage(
        QString::fromUtf8(QJsonDocument(command).toJson(QJsonDocument::Compact)));

    QElapsedTimer clock;
    clock.start();
    while (!answers.contains(id)) {
        const auto left = timeout - std::chrono::milliseconds(clock.elapsed());
        if (left.count() <= 0 || socket.state() != QAbstractSocket::ConnectedState) {
            awaitedId = 0;
            co_return std::nullopt;
        }
        // Every message passes through receive(), which wakes this wait for our answer only.
        co_await qCoro(this, &DevToolsSession::answerArrived, left);
    }
    awaitedId = 0;
    const QJsonObject answer = answers.take(id);
    if (answer.contains(QLatin1String("error"))) {
        co_return std::nullopt;
    }
    co_return answer.value(QLatin1String("result")).toObject();
}

void DevToolsSession::receive(const QString& message)
{
    const QJsonObject object = QJsonDocument::fromJson(message.toUtf8()).object();
    // Events have no id; only the answer to the command being awaited is kept.
    if (const QJsonValue id = object.value(QLatin1String("id"));
        id.isDouble() && id.toInt() == awaitedId && awaitedId != 0) {
        answers.insert(id.toInt(), object);
        Q_EMIT answerArrived();
    }
}
