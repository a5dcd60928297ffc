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

QJsonObject targetParams(const QString& targetId)
{
    return QJsonObject{{QStringLiteral("targetId"), targetId}};
}

// One page of the endpoint's list.
struct Page
{
    ChromiumDevTools::Tab tab;
    bool matches = false;
};

// Where the tab stands in the order its window's tabs were opened in: the number of its oldest
// history entry. The browser numbers navigation entries in one sequence as it makes them, so a
// tab opened later has a higher first number. Nullopt when the tab does not say.
QCoro::Task<std::optional<qint64>> openingNumber(DevToolsSession& session, QString targetId)
{
    QJsonObject attach = targetParams(targetId);
    attach.insert(QStringLiteral("flatten"), true);
    const std::optional<QJsonObject> attached = co_await session.call(
        QStringLiteral("Target.attachToTarget"), attach, ChromiumDevTools::requestTimeout);
    const QString targetSession =
        attached ? attached->value(QLatin1String("sessionId")).toString() : QString();
    if (targetSession.isEmpty()) {
        co_return std::nullopt;
    }
    const std::optional<QJsonObject> history =
        co_await session.call(QStringLiteral("Page.getNavigationHistory"), QJsonObject(),
                              ChromiumDevTools::requestTimeout, targetSession);
    const QJsonObject detach{{QStringLiteral("sessionId"), targetSession}};
    co_await session.call(QStringLiteral("Target.detachFromTarget"), detach,
                          ChromiumDevTools::requestTimeout);
    const QJsonArray entries =
        history ? history->value(QLatin1String("entries")).toArray() : QJsonArray();
    if (entries.isEmpty()) {
        co_return std::nullopt;
    }
    const QJsonValue number = entries.first().toObject().value(QLatin1String("id"));
    if (!number.isDouble()) {
        co_return std::nullopt;
    }
    co_return number.toInteger();
}

// The matching tab to take from `pages`, the browser's pages most recently active first as the
// endpoint lists them (at least one matches): the first in front-to-back window order, then in
// its window's tab order.
//
// Windows: the browser names the window of each tab (Browser.getWindowForTarget), and the
// window in which a tab was brought forward last is the one in front, so windows rank by their
// most recently active tab. Tabs: the protocol gives no tab's place in its window; its lists are
// in order of last activity (/json/list) or in no order at all (Target.getTargets). The order
// the tabs were opened in is the tab strip's order for tabs opened by the new-tab command or a
// program, which add at the end, so that is the order taken (a tab dragged elsewhere is not
// followed). Without the protocol the most recently active match is taken.
QCoro::Task<ChromiumDevTools::Tab> firstInWindowOrder(std::vector<Page> pages, QUrl socketUrl)
{
    const auto firstMatch =
        std::find_if(pages.begin(), pages.end(), [](const Page& page) { return page.matches; });
    ChromiumDevTools::Tab chosen = firstMatch->tab;

    if (socketUrl.isEmpty()) {
        co_return chosen;
    }
    DevToolsSession session;
    const bool opened = co_await session.open(socketUrl, ChromiumDevTools::requestTimeout);
    if (!opened) {
        co_return chosen;
    }
    const QString method = QStringLiteral("Browser.getWindowForTarget");
    std::vector<qint64> windowsFrontFirst;
    for (Page& page : pages) {
        const QJsonObject params = targetParams(page.tab.targetId);
        const std::optional<QJsonObject> window =
            co_await session.call(method, params, ChromiumDevTools::requestTimeout);
        if (window) {
            page.tab.windowId = window->value(QLatin1String("windowId")).toInteger();
        }
        if (std::find(windowsFrontFirst.begin(), windowsFrontFirst.end(), page.tab.windowId) ==
            windowsFrontFirst.end()) {
            windowsFrontFirst.push_back(page.tab.windowId);
        }
    }

    std::vector<ChromiumDevTools::Tab> candidates;
    for (const qint64 windowId : windowsFrontFirst) {
        for (const Page& page : pages) {
            if (page.matches && page.tab.windowId == windowId) {
                candidates.push_back(page.tab);
            }
        }
        if (!candidates.empty()) {
            break;
        }
    }
    chosen = candidates.front();
    if (candidates.size() > 1) {
        std::optional<qint64> earliest;
        for (const ChromiumDevTools::Tab& candidate : candidates) {
            const std::optional<qint64> number =
                co_await openingNumber(session, candidate.targetId);
            if (number && (!earliest || *number < *earliest)) {
                earliest = number;
                chosen = candidate;
            }
        }
    }
    co_return chosen;
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

    // Every page, most recently active first: the windows' order needs the pages that do not
    // match too.
    std::vector<Page> pages;
    bool anyMatch = false;
    for (const QJsonValue& value : QJsonDocument::fromJson(list.body).array()) {
        const QJsonObject target = value.toObject();
        if (target.value(QLatin1String("type")).toString() != QLatin1String("page")) {
            continue;
        }
        Page page;
        page.tab.targetId = target.value(QLatin1String("id")).toString();
        page.tab.title = target.value(QLatin1String("title")).toString();
        page.matches = target.value(QLatin1String("url")).toString().contains(address);
        anyMatch = anyMatch || page.matches;
        pages.push_back(page);
    }
    if (!anyMatch) {
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
    QUrl socketUrl;
    if (!browserPath.isEmpty()) {
        socketUrl = base;
        socketUrl.setScheme(QStringLiteral("ws"));
        socketUrl.setPath(browserPath);
    }
    const Tab chosen = co_await firstInWindowOrder(std::move(pages), socketUrl);

    QUrl activateUrl = base;
    activateUrl.setPath(QStringLiteral("/json/activate/") + chosen.targetId);
    const Response activated = co_await get(&network, activateUrl);
    if (!activated.ok) {
        co_return std::nullopt;
    }
    co_return chosen;
}
