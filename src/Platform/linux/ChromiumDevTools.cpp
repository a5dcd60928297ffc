#include "Platform/linux/ChromiumDevTools.h"

#include "Utilities/ProjectFiles.h"

#include <QCoro/QCoroNetworkReply>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <memory>

namespace {

struct Response
{
    bool ok = false;
    QByteArray body;
};

QCoro::Task<Response> get(QNetworkAccessManager* network, QUrl url)
{
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(ChromiumDevTools::requestTimeout.count()));
    std::unique_ptr<QNetworkReply> reply(network->get(request));
    const bool finished =
        co_await qCoro(reply.get())
            .waitForFinished(ChromiumDevTools::requestTimeout + std::chrono::milliseconds(1000));
    Response response;
    if (!finished) {
        reply->abort();
        co_return response;
    }
    response.ok = reply->error() == QNetworkReply::NoError;
    response.body = reply->readAll();
    co_return response;
}

} // namespace

std::optional<int> ChromiumDevTools::activePort(const QString& profileFolder)
{
    const std::optional<QByteArray> contents =
        ProjectFiles::read(profileFolder + QStringLiteral("/DevToolsActivePort"));
    if (!contents) {
        return std::nullopt;
    }
    const QByteArray firstLine = contents->split('\n').value(0).trimmed();
    bool ok = false;
    const int port = firstLine.toInt(&ok);
    if (!ok || port <= 0 || port > 65535) {
        return std::nullopt;
    }
    return port;
}

QCoro::Task<bool> ChromiumDevTools::activateTab(int port, QString address)
{
    QNetworkAccessManager network;
    // The endpoint is local; a proxy from the environment must not stand in between.
    network.setProxy(QNetworkProxy::NoProxy);

    QUrl base;
    base.setScheme(QStringLiteral("http"));
    base.setHost(QStringLiteral("127.0.0.1"));
    base.setPort(port);

    QUrl listUrl = base;
    listUrl.setPath(QStringLiteral("/json/list"));
    const Response list = co_await get(&network, listUrl);
    if (!list.ok) {
        co_return false;
    }

    const QJsonArray targets = QJsonDocument::fromJson(list.body).array();
    for (const QJsonValue& value : targets) {
        const QJsonObject target = value.toObject();
        if (target.value(QLatin1String("type")).toString() != QLatin1String("page") ||
            !target.value(QLatin1String("url")).toString().contains(address)) {
            continue;
        }
        QUrl activateUrl = base;
        activateUrl.setPath(QStringLiteral("/json/activate/") +
                            target.value(QLatin1String("id")).toString());
        const Response activated = co_await get(&network, activateUrl);
        co_return activated.ok;
    }
    co_return false;
}
