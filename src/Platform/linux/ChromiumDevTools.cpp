#include "Platform/linux/ChromiumDevTools.h"

#include "Platform/linux/DevToolsSession.h"
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

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

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

// Sorts `tabs` by the window that holds each (window ids grow as the browser opens windows),
// keeping their order within a window; a tab whose window is unknown goes last.
void sortByWindow(std::vector<ChromiumDevTools::Tab>& tabs)
{
    std::stable_sort(tabs.begin(), tabs.end(),
                     [](const ChromiumDevTools::Tab& left, const ChromiumDevTools::Tab& right) {
                         const auto key = [](const ChromiumDevTools::Tab& tab) {
                             return tab.windowId > 0 ? tab.windowId
                                                     : std::numeric_limits<qint64>::max();
                         };
                         return key(left) < key(right);
                     });
}

QJsonObject targetParams(const QString& targetId)
{
    return QJsonObject{{QStringLiteral("targetId"), targetId}};
}

// Asks the browser which window holds each tab, and sorts them by window.
QCoro::Task<std::vector<ChromiumDevTools::Tab>>
inWindowOrder(std::vector<ChromiumDevTools::Tab> tabs, QUrl socketUrl)
{
    DevToolsSession session;
    const bool opened = co_await session.open(socketUrl, ChromiumDevTools::requestTimeout);
    if (!opened) {
        co_return tabs;
    }
    const QString method = QStringLiteral("Browser.getWindowForTarget");
    for (ChromiumDevTools::Tab& tab : tabs) {
        const QJsonObject params = targetParams(tab.targetId);
        const std::optional<QJsonObject> window =
            co_await session.call(method, params, ChromiumDevTools::requestTimeout);
        if (window) {
            tab.windowId = window->value(QLatin1String("windowId")).toInteger();
        }
    }
    sortByWindow(tabs);
    co_return tabs;
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

QString ChromiumDevTools::browserPath(const QString& profileFolder)
{
    const std::optional<QByteArray> contents =
        ProjectFiles::read(profileFolder + QStringLiteral("/DevToolsActivePort"));
    if (!contents) {
        return QString();
    }
    const QString path = QString::fromUtf8(contents->split('\n').value(1).trimmed());
    return path.startsWith(QLatin1String("/devtools/browser/")) ? path : QString();
}

QCoro::Task<std::optional<ChromiumDevTools::Tab>>
ChromiumDevTools::activateTab(int port, QString address, QString browserPath)
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
        co_return std::nullopt;
    }

    // Matching pages, most recently active first.
    std::vector<Tab> matches;
    for (const QJsonValue& value : QJsonDocument::fromJson(list.body).array()) {
        const QJsonObject target = value.toObject();
        if (target.value(QLatin1String("type")).toString() == QLatin1String("page") &&
            target.value(QLatin1String("url")).toString().contains(address)) {
            matches.push_back(Tab{target.value(QLatin1String("id")).toString(),
                                  target.value(QLatin1String("title")).toString(), 0});
        }
    }
    if (matches.empty()) {
        co_return std::nullopt;
    }

    // The list says nothing of windows; the protocol tells which window holds each tab.
    if (browserPath.isEmpty()) {
        QUrl versionUrl = base;
        versionUrl.setPath(QStringLiteral("/json/version"));
        const Response version = co_await get(&network, versionUrl);
        browserPath = QUrl(QJsonDocument::fromJson(version.body)
                               .object()
                               .value(QLatin1String("webSocketDebuggerUrl"))
                               .toString())
                          .path();
    }
    if (!browserPath.isEmpty()) {
        QUrl socketUrl = base;
        socketUrl.setScheme(QStringLiteral("ws"));
        socketUrl.setPath(browserPath);
        matches = co_await inWindowOrder(std::move(matches), socketUrl);
    }

    const Tab chosen = matches.front();
    QUrl activateUrl = base;
    activateUrl.setPath(QStringLiteral("/json/activate/") + chosen.targetId);
    const Response activated = co_await get(&network, activateUrl);
    if (!activated.ok) {
        co_return std::nullopt;
    }
    co_return chosen;
}
