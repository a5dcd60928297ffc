#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <optional>

// A real headless Chromium with a fresh profile folder of its own and a DevTools endpoint on a
// port it picks itself (announced in the profile's DevToolsActivePort). The browser runs in a
// process group of its own, which is killed when the object goes away, whatever happened.
class HeadlessChromium
{
public:
    static QString executable() { return QStringLiteral("/usr/bin/chromium"); }

    // Starts the browser on `startUrl` and waits until its DevTools endpoint answers.
    explicit HeadlessChromium(const QString& startUrl);
    ~HeadlessChromium();
    HeadlessChromium(const HeadlessChromium&) = delete;
    HeadlessChromium& operator=(const HeadlessChromium&) = delete;

    // Whether the browser is up with its endpoint; `failure()` says why not.
    bool isReady() const { return port.has_value(); }
    QString failure() const { return problem; }

    QString profileFolder() const { return profile.path(); }
    int devToolsPort() const { return port.value_or(0); }

    // GET or PUT on the endpoint; nullopt when it does not answer successfully.
    std::optional<QByteArray> request(const QString& path, const QByteArray& verb = "GET") const;
    // The targets of type "page", in the endpoint's order (most recently active first).
    QJsonArray pages() const;
    // The address of the first page, or empty.
    QString frontPageUrl() const;
    // Opens a new tab on `url`; true when the endpoint accepted it.
    bool openTab(const QString& url) const;
    // Sends one DevTools protocol command to the browser; its result, or nullopt on an error or
    // when no answer comes in time.
    std::optional<QJsonObject> command(const QString& method, const QJsonObject& params) const;
    // Opens a new window with one tab on `url`; the tab's target id, or empty.
    QString openWindow(const QString& url) const;
    // The browser's id of the window that holds the tab `targetId`; 0 when unknown.
    qint64 windowOf(const QString& targetId) const;
    // The id of the first page whose address is `url`, or empty.
    QString pageId(const QString& url) const;

private:
    QTemporaryDir profile;
    QProcess process;
    std::optional<int> port;
    QString problem;
};

// python3 -m http.server on a free port of 127.0.0.1, serving a temporary folder. Stopped when
// the object goes away.
class LocalWebServer
{
public:
    LocalWebServer();
    ~LocalWebServer();
    LocalWebServer(const LocalWebServer&) = delete;
    LocalWebServer& operator=(const LocalWebServer&) = delete;

    bool isReady() const { return ready; }
    int port() const { return serverPort; }
    QString root() const { return folder.path(); }
    // "http://127.0.0.1:<port>" followed by `path`.
    QString url(const QString& path) const;

private:
    QTemporaryDir folder;
    QProcess process;
    int serverPort = 0;
    bool ready = false;
};
