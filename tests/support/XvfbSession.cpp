#include "support/XvfbSession.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QThread>

#include <X11/Xlib.h>

namespace {

bool socketExists(int number)
{
    return QFileInfo::exists(QStringLiteral("/tmp/.X11-unix/X%1").arg(number)) ||
           QFileInfo::exists(QStringLiteral("/tmp/.X%1-lock").arg(number));
}

// True once some client owns the system tray selection of screen 0 on `display`.
bool trayIsUp(const QByteArray& display)
{
    Display* connection = XOpenDisplay(display.constData());
    if (!connection) {
        return false;
    }
    const Atom selection = XInternAtom(connection, "_NET_SYSTEM_TRAY_S0", False);
    const bool owned = XGetSelectionOwner(connection, selection) != None;
    XCloseDisplay(connection);
    return owned;
}

bool displayAnswers(const QByteArray& display)
{
    Display* connection = XOpenDisplay(display.constData());
    if (!connection) {
        return false;
    }
    XCloseDisplay(connection);
    return true;
}

template <typename Condition>
bool waitFor(Condition condition, int milliseconds)
{
    QDeadlineTimer deadline(milliseconds);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return condition();
        }
        QThread::msleep(20);
    }
    return true;
}

} // namespace

XvfbSession::~XvfbSession()
{
    stop();
}

QString XvfbSession::missingTool(bool withTray)
{
    if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty()) {
        return QStringLiteral("Xvfb is not installed");
    }
    if (withTray && QStandardPaths::findExecutable(QStringLiteral("trayer")).isEmpty()) {
        return QStringLiteral("trayer is not installed");
    }
    return QString();
}

bool XvfbSession::start(bool withTray, QString* error)
{
    const QString missing = missingTool(withTray);
    if (!missing.isEmpty()) {
        *error = missing;
        return false;
    }
    previousDisplay = qgetenv("DISPLAY");
    if (!startServer(error)) {
        return false;
    }
    qputenv("DISPLAY", displayName.toUtf8());
    if (withTray && !startTray(error)) {
        stop();
        return false;
    }
    return true;
}

bool XvfbSession::startServer(QString* error)
{
    // Parallel test processes pick random displays and move on when one is taken.
    for (int attempt = 0; attempt < 20; ++attempt) {
        const int number = 100 + static_cast<int>(QRandomGenerator::global()->bounded(800));
        if (socketExists(number)) {
            continue;
        }
        const QString name = QStringLiteral(":%1").arg(number);
        server = std::make_unique<QProcess>();
        server->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server->setStandardOutputFile(QProcess::nullDevice());
        server->start(QStringLiteral("Xvfb"),
                      {name, QStringLiteral("-screen"), QStringLiteral("0"),
                       QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                       QStringLiteral("tcp"), QStringLiteral("-noreset")});
        if (!server->waitForStarted(5000)) {
            *error = QStringLiteral("Xvfb did not start: ") + server->errorString();
            server.reset();
            return false;
        }
        const QByteArray display = name.toUtf8();
        const bool up = waitFor(
            [&] { return server->state() != QProcess::Running || displayAnswers(display); }, 10000);
        if (up && server->state() == QProcess::Running) {
            displayName = name;
            return true;
        }
        server->kill();
        server->waitForFinished(2000);
        server.reset();
    }
    *error = QStringLiteral("no free X display for Xvfb");
    return false;
}

bool XvfbSession::startTray(QString* error)
{
    tray = std::make_unique<QProcess>();
    tray->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    tray->setStandardOutputFile(QProcess::nullDevice());
    tray->start(QStringLiteral("trayer"),
                {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                 QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("request"),
                 QStringLiteral("--height"), QStringLiteral("32"), QStringLiteral("--transparent"),
                 QStringLiteral("false"), QStringLiteral("--SetDockType"), QStringLiteral("true")});
    if (!tray->waitForStarted(5000)) {
        *error = QStringLiteral("trayer did not start: ") + tray->errorString();
        return false;
    }
    const QByteArray display = displayName.toUtf8();
    if (!waitFor([&] { return trayIsUp(display); }, 10000)) {
        *error = QStringLiteral("trayer never took the system tray selection");
        return false;
    }
    return true;
}

void XvfbSession::stop()
{
    for (auto* process : {tray.get(), server.get()}) {
        if (process && process->state() != QProcess::NotRunning) {
            process->terminate();
            if (!process->waitForFinished(3000)) {
                process->kill();
                process->waitForFinished(3000);
            }
        }
    }
    tray.reset();
    server.reset();
    if (!displayName.isEmpty()) {
        if (previousDisplay.isEmpty()) {
            qunsetenv("DISPLAY");
        } else {
            qputenv("DISPLAY", previousDisplay);
        }
        displayName.clear();
    }
}
