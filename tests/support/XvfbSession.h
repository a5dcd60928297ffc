#pragma once

#include <QProcess>
#include <QString>

#include <memory>

// A private X display (Xvfb), optionally with the trayer system tray, for end-to-end tests.
// The session exports DISPLAY for this process and its children while it lives.
class XvfbSession
{
public:
    XvfbSession() = default;
    ~XvfbSession();
    XvfbSession(const XvfbSession&) = delete;
    XvfbSession& operator=(const XvfbSession&) = delete;

    // Starts Xvfb (and trayer when `withTray`); false with a reason in `error` otherwise.
    bool start(bool withTray, QString* error);
    void stop();

    QString display() const { return displayName; }

    // The programs a session needs; a reason when one is missing.
    static QString missingTool(bool withTray);

private:
    bool startServer(QString* error);
    bool startTray(QString* error);

    std::unique_ptr<QProcess> server;
    std::unique_ptr<QProcess> tray;
    QString displayName;
    QByteArray previousDisplay;
};
