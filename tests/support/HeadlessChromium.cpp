#include "support/HeadlessChromium.h"

#include "support/TestSupport.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTcpSocket>
#include <QTimer>
#include <QWebSocket>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

void startInOwnGroup()
{
    ::setsid();
}

} // namespace

HeadlessChromium::HeadlessChromium(const QString& startUrl)
{
    if (!profile.isValid() || !QFile::exists(executable())) {
        problem = QStringLiteral("no %1 or no temporary folder").arg(executable());
        return;
    }
    process.setProgram(executable());
    // This machine's network is closed: every flag that would reach out stays off.
    process.setArguments({
        QStringLiteral("--headless"),
        QStringLiteral("--no-sandbox"),
        QStringLiteral("--disable-gpu"),
        QStringLiteral("--disable-quic"),
        QStringLiteral("--no-first-run"),
        QStringLiteral("--disable-background-networking"),
        QStringLiteral("--disable-component-update"),
        QStringLiteral("--disable-sync"),
        QStringLiteral("--user-data-dir=") + profile.path(),
        QStringLiteral("--remote-debugging-port=0"),
        startUrl,
    });
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(profile.filePath(QStringLiteral("chromium.log")));
    // Killed, the browser cannot remove its temporary folders; inside the profile they go away
    // with it.
    const QString temporary = profile.filePath(QStringLiteral("tmp"));
    QDir().mkpath(temporary);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TMPDIR"), temporary);
    process.setProcessEnvironment(environment);
    process.setChildProcessModifier(startInOwnGroup);
    process.start();
    if (!process.waitForStarted(30000)) {
        problem = QStringLiteral("chromium did not start: ") + process.errorString();
        return;
    }

    const QString portFile = profile.filePath(QStringLiteral("DevToolsActivePort"));
    std::optional<int> announced;
    TestSupport::waitUntil(
        [&] {
            QFile file(portFile);
            if (file.open(QIODevice::ReadOnly)) {
                bool ok = false;
                const int value = file.readLine().trimmed().toInt(&ok);
                if (ok && value > 0) {
                    announced = value;
                }
            }
            return announced.has_value() || process.state() == QProcess::NotRunning;
        },
        90s);
    if (!announced) {
        QFile log(profile.filePath(QStringLiteral("chromium.log")));
        log.open(QIODevice::ReadOnly);
        problem = QStringLiteral("no DevToolsActivePort; chromium said: ") +
                  QString::fromUtf8(log.readAll().right(2000));
        return;
    }
    port = announced;
    if (!TestSupport::waitUntil(
            [&] { return request(QStringLiteral("/json/version")).has_value(); }, 60s)) {
        problem = QStringLiteral("the DevTools endpoint does not answer");
        port.reset();
    }
}

HeadlessChromium::~HeadlessChromium()
{
    if (process.state() != QProcess::NotRunning) {
        // The whole group: the browser and its helper processes.
        ::kill(-static_cast<pid_t>(process.processId()), SIGKILL);
        process.waitForFinished(30000);
    }
}

std::optional<QByteArray> HeadlessChromium::request(const QString& path,
                                                    const QByteArray& verb) const
{
    if (!port) {
        return std::nullopt;
    }
    QNetworkAccessManager network;
    network.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(*port).arg(path)));
    request.setTransferTimeout(10000);
    std::unique_ptr<QNetworkReply> reply(network.sendCustomRequest(request, verb));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) {
        loop.exec();
    }
    if (reply->error() != QNetworkReply::NoError) {
        return std::nullopt;
    }
    return reply->readAll();
}

QJsonArray HeadlessChromium::pages() const
{
    QJsonArray result;
    const std::optional<QByteArray> body = request(QStringLiteral("/json/list"));
    if (!body) {
        return result;
    }
    for (const QJsonValue& target : QJsonDocument::fromJson(*body).array()) {
        if (target.toObject().value(QLatin1String("type")).toString() == QLatin1String("page")) {
            result.append(target);
        }
    }
    return result;
}

QString HeadlessChromium::frontPageUrl() const
{
    return pages().at(0).toObject().value(QLatin1String("url")).toString();
}

bool HeadlessChromium::openTab(const QString& url) const
{
    return request(QStringLiteral("/json/new?") + url, "PUT").has_value();
}

std::optional<QJsonObject> HeadlessChromium::command(const QString& method,
                                                     const QJsonObject& params) const
{
    const std::optional<QByteArray> version = request(QStringLiteral("/json/version"));
    if (!version) {
        return std::nullopt;
    }
    const QUrl socketUrl(QJsonDocument::fromJson(*version)
                             .object()
                             .value(QLatin1String("webSocketDebuggerUrl"))
                             .toString());
    QWebSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    std::optional<QJsonObject> answer;
    bool answered = false;
    QObject::connect(&socket, &QWebSocket::connected, &socket, [&] {
        const QJsonObject message{{QStringLiteral("id"), 1},
                                  {QStringLiteral("method"), method},
                                  {QStringLiteral("params"), params}};
        socket.sendTextMessage(QString::fromUtf8(QJsonDocument(message).toJson()));
    });
    QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket, [&](const QString& text) {
        const QJsonObject message = QJsonDocument::fromJson(text.toUtf8()).object();
        if (message.value(QLatin1String("id")).toInt() != 1) {
            return;
        }
        answered = true;
        if (!message.contains(QLatin1String("error"))) {
            answer = message.value(QLatin1String("result")).toObject();
        }
    });
    socket.open(socketUrl);
    TestSupport::waitUntil([&] { return answered; }, 30s);
    socket.abort();
    return answer;
}

QString HeadlessChromium::openWindow(const QString& url) const
{
    const std::optional<QJsonObject> created =
        command(QStringLiteral("Target.createTarget"),
                {{QStringLiteral("url"), url}, {QStringLiteral("newWindow"), true}});
    return created ? created->value(QLatin1String("targetId")).toString() : QString();
}

qint64 HeadlessChromium::windowOf(const QString& targetId) const
{
    const std::optional<QJsonObject> window = command(QStringLiteral("Browser.getWindowForTarget"),
                                                      {{QStringLiteral("targetId"), targetId}});
    return window ? window->value(QLatin1String("windowId")).toInteger() : 0;
}

QString HeadlessChromium::pageId(const QString& url) const
{
    for (const QJsonValue& page : pages()) {
        if (page.toObject().value(QLatin1String("url")).toString() == url) {
            return page.toObject().value(QLatin1String("id")).toString();
        }
    }
    return QString();
}

LocalWebServer::LocalWebServer()
{
    if (!folder.isValid()) {
        return;
    }
    serverPort = TestSupport::freePort();
    process.setProgram(QStringLiteral("python3"));
    process.setArguments({QStringLiteral("-m"), QStringLiteral("http.server"),
                          QString::number(serverPort), QStringLiteral("--bind"),
                          QStringLiteral("127.0.0.1"), QStringLiteral("--directory"),
                          folder.path()});
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start();
    if (!process.waitForStarted(30000)) {
        return;
    }
    ready = TestSupport::waitUntil(
        [&] {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(serverPort));
            return socket.waitForConnected(200);
        },
        30s);
}

LocalWebServer::~LocalWebServer()
{
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(10000);
    }
}

QString LocalWebServer::url(const QString& path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort).arg(path);
}
