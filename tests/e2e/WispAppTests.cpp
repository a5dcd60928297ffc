#include "Managers/SettingsManager.h"
#include "Models/Browser.h"

#include "Desktop.h"
#include "WispProcess.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QRect>
#include <QSettings>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

#include <signal.h>
#include <unistd.h>

// The real wisp executable on the private Xvfb display with the trayer tray: its tray icon is
// clicked with xdotool, the development servers it starts are real (python3 -m http.server, and
// a small Node server through npm), and a stand-in browser records how it was started.
using namespace std::chrono_literals;
using TestSupport::waitUntil;
using namespace Desktop;

namespace {

// The static site's start command listens on this fixed port.
constexpr int sitePort = 8080;

bool portAnswers(int port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    return socket.waitForConnected(500);
}

bool portIsFree(int port)
{
    QTcpServer server;
    return server.listen(QHostAddress::Any, static_cast<quint16>(port));
}

// Process ids listening on a TCP port.
QList<qint64> listeners(int port)
{
    const RunResult result = run(QStringLiteral("/usr/bin/lsof"),
                                 {QStringLiteral("-t"), QStringLiteral("-i"),
                                  QStringLiteral(":%1").arg(port), QStringLiteral("-sTCP:LISTEN")});
    QList<qint64> pids;
    for (const QString& line : result.standardOutput.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        bool ok = false;
        const qint64 pid = line.trimmed().toLongLong(&ok);
        if (ok && pid > 0) {
            pids.append(pid);
        }
    }
    return pids;
}

// Stops the servers a test left on `port`, with their process groups (npm and its children).
void stopServersOn(int port)
{
    for (int signal : {SIGTERM, SIGKILL}) {
        for (const qint64 pid : listeners(port)) {
            const pid_t group = ::getpgid(static_cast<pid_t>(pid));
            if (group > 0 && group != ::getpgrp()) {
                ::kill(-group, signal);
            } else {
                ::kill(static_cast<pid_t>(pid), signal);
            }
        }
        if (waitUntil([&] { return listeners(port).isEmpty(); }, 5s)) {
            return;
        }
    }
}

class WispAppTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (const QString& tool : {QStringLiteral("xdotool"), QStringLiteral("xprop")}) {
            if (QStandardPaths::findExecutable(tool).isEmpty()) {
                GTEST_SKIP() << tool.toStdString() << " is not installed";
            }
        }
        for (const QString& tool :
             {QStringLiteral("/usr/bin/python3"), QStringLiteral("/usr/bin/npm"),
              QStringLiteral("/usr/bin/node")}) {
            if (!QFileInfo(tool).isExecutable()) {
                GTEST_SKIP() << tool.toStdString() << " is not installed";
            }
        }
        ASSERT_TRUE(QFileInfo(WispProcess::executablePath()).isExecutable())
            << WispProcess::executablePath().toStdString();
        // The static site's server can only listen on 8080.
        ASSERT_TRUE(portIsFree(sitePort))
            << "port 8080 is in use: the static site's server (python3 -m http.server 8080) "
               "needs it; stop whatever listens there and run the test again";
        portsToClean.append(sitePort);
        apiPort = TestSupport::freePort();
        ASSERT_GT(apiPort, 0);
        portsToClean.append(apiPort);

        makeProjects();
        makeBrowserStandIn();
        writeSettings();
    }

    void TearDown() override
    {
        for (const std::unique_ptr<WispProcess>& wisp : wisps) {
            wisp->stop();
            if (HasFailure()) {
                std::fprintf(stderr, "--- wisp log ---\n%s\n", qPrintable(wisp->log()));
            }
        }
        wisps.clear();
        for (const int port : std::as_const(portsToClean)) {
            stopServersOn(port);
        }
    }

    void makeProjects()
    {
        const QString root = projects.path();
        TestSupport::writeFile(root, QStringLiteral("site/index.html"),
                               "<!doctype html><title>site</title><link rel=stylesheet "
                               "href=style.css><h1>site</h1>\n");
        TestSupport::writeFile(root, QStringLiteral("site/style.css"), "h1 { color: teal; }\n");
        TestSupport::writeFile(root, QStringLiteral("api/package.json"),
                               QStringLiteral(R"({"name": "api", "private": true,
  "scripts": {"dev": "node server.js --port %1"}}
)")
                                   .arg(apiPort)
                                   .toUtf8());
        TestSupport::writeFile(root, QStringLiteral("api/server.js"),
                               R"(const http = require('http');
const port = Number(process.argv[process.argv.indexOf('--port') + 1]);
http.createServer((request, response) => response.end('api\n')).listen(port, '127.0.0.1');
)");
        sitePath = QDir(root).filePath(QStringLiteral("site"));
    }

    // The first name the Linux backend looks for, first on wisp's PATH.
    void makeBrowserStandIn()
    {
        ASSERT_TRUE(QFile::link(TestSupport::fixturePath(QStringLiteral("record-arguments")),
                                QDir(bin.path()).filePath(QStringLiteral("google-chrome-stable"))));
    }

    // What onboarding and earlier runs leave in $XDG_CONFIG_HOME/wisp/wisp.conf.
    void writeSettings(bool withShortcut = false)
    {
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setHasCompletedOnboarding(true);
        // The Linux bookmark is the folder's absolute path.
        settings.setProjectsFolder(QUrl::fromLocalFile(projects.path()));
        settings.setPreferredBrowser(Browser::chrome);
        settings.setSelectedProjectPath(sitePath);
        if (withShortcut) {
            settings.setHotKeyCode(37);
            settings.setHotKeyModifiers(0x1800);
        }
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("PATH"), bin.path() + QLatin1Char(':') +
                                                       environment.value(QStringLiteral("PATH")));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config.path());
        // The instance socket and the server output live here, apart from any other wisp.
        environment.insert(QStringLiteral("TMPDIR"), temporary.path());
        environment.insert(QStringLiteral("XDG_STATE_HOME"), temporary.path());
        environment.insert(QStringLiteral("WISP_STANDIN_RECORD_DIR"), records.path());
        // The application deliberately never frees its delegate.
        const QString asan = environment.value(QStringLiteral("ASAN_OPTIONS"));
        environment.insert(QStringLiteral("ASAN_OPTIONS"),
                           asan.isEmpty() ? QStringLiteral("detect_leaks=0")
                                          : asan + QStringLiteral(":detect_leaks=0"));
        return environment;
    }

    WispProcess& launchWisp()
    {
        wisps.push_back(std::make_unique<WispProcess>(environment()));
        WispProcess& wisp = *wisps.back();
        EXPECT_TRUE(wisp.process.waitForStarted(10000));
        return wisp;
    }

    // Launches wisp and waits until it polls the restored project's port.
    WispProcess& launchWispAndWaitForPolling(int port)
    {
        WispProcess& wisp = launchWisp();
        const bool polling = wisp.waitForLine(
            QStringLiteral("🚀 [AppDelegate] Starting polling on port %1").arg(port), 60s);
        EXPECT_TRUE(polling) << wisp.log().toStdString();
        return wisp;
    }

    // wisp's tray icon: its small window embedded in the tray.
    std::optional<QRect> trayIcon()
    {
        std::optional<QRect> icon;
        waitUntil(
            [&] {
                const std::optional<XWindow> window = visibleWispWindow(isTrayIcon);
                if (window) {
                    icon = window->geometry;
                }
                return icon.has_value();
            },
            30s);
        return icon;
    }

    void clickTrayIcon(int button)
    {
        const std::optional<QRect> icon = trayIcon();
        ASSERT_TRUE(icon.has_value()) << "wisp's tray icon never appeared in the tray";
        const QPoint centre = icon->center();
        xdotool({QStringLiteral("mousemove"), QString::number(centre.x()),
                 QString::number(centre.y()), QStringLiteral("click"), QString::number(button)});
    }

    std::optional<XWindow> waitForWindow(const std::function<bool(const XWindow&)>& matches)
    {
        std::optional<XWindow> found;
        waitUntil(
            [&] {
                found = visibleWispWindow(matches);
                return found.has_value();
            },
            30s);
        return found;
    }

    // Opens the status menu with a right click and waits for it.
    void openMenu()
    {
        clickTrayIcon(3);
        ASSERT_TRUE(waitForWindow(isMenu)) << "the status menu did not open";
    }

    // Each launch of the stand-in browser, as its argument lists, in order.
    QList<QStringList> browserLaunches() const
    {
        QList<QStringList> launches;
        for (int index = 0;; ++index) {
            QFile file(QDir(records.path()).filePath(QStringLiteral("%1.args").arg(index)));
            if (!file.open(QIODevice::ReadOnly)) {
                break;
            }
            QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
            if (!lines.isEmpty() && lines.last().isEmpty()) {
                lines.removeLast();
            }
            launches.append(lines.mid(1));
        }
        return launches;
    }

    QStringList incognito(int port) const
    {
        return {QStringLiteral("--incognito"), QStringLiteral("http://localhost:%1").arg(port)};
    }

    QTemporaryDir config;
    QTemporaryDir projects;
    QTemporaryDir bin;
    QTemporaryDir records;
    QTemporaryDir temporary;
    QString sitePath;
    int apiPort = 0;
    QList<int> portsToClean;
    std::vector<std::unique_ptr<WispProcess>> wisps;
};

} // namespace

TEST_F(WispAppTest, ClickWithTheServerStoppedAsksStartsItOpensTheBrowserAndQuitLeavesItRunning)
{
    WispProcess& wisp = launchWispAndWaitForPolling(sitePort);

    clickTrayIcon(1);
    const std::optional<XWindow> alert = waitForWindow(isAlert);
    ASSERT_TRUE(alert.has_value()) << "no alert after a click on the tray icon\n"
                                   << wisp.log().toStdString();
    EXPECT_EQ(alert->name, QStringLiteral("wisp"));
    EXPECT_FALSE(portAnswers(sitePort));
    EXPECT_TRUE(browserLaunches().isEmpty());

    // "Start Server" is the default button.
    xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), alert->id});
    keys({QStringLiteral("Return")});
    ASSERT_TRUE(waitUntil([] { return portAnswers(sitePort); }, 30s)) << wisp.log().toStdString();
    const QString confirmed =
        QStringLiteral("✅ [ServerManager] Server confirmed running on port 8080");
    ASSERT_TRUE(wisp.waitForLineStartingWith(confirmed)) << wisp.log().toStdString();
    const qint64 startReturned = wisp.arrivals.at(wisp.indexStartingWith(confirmed));

    ASSERT_TRUE(waitUntil([&] { return !browserLaunches().isEmpty(); }, 30s))
        << wisp.log().toStdString();
    const qint64 browserOpened = wisp.clock.elapsed();
    EXPECT_EQ(browserLaunches(), QList<QStringList>{incognito(sitePort)});
    // A fixed pause of two seconds after the start, less the polling slack of this test.
    EXPECT_GE(browserOpened - startReturned, 1800);
    EXPECT_FALSE(visibleWispWindow(isAlert));

    // Quit is the menu's last item.
    openMenu();
    keys({QStringLiteral("Up"), QStringLiteral("Return")});
    ASSERT_TRUE(wisp.waitForExit()) << "wisp did not quit\n" << wisp.log().toStdString();
    EXPECT_EQ(wisp.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(wisp.process.exitCode(), 0);
    // The server it started keeps running.
    EXPECT_TRUE(portAnswers(sitePort));
    EXPECT_FALSE(listeners(sitePort).isEmpty());
}

TEST_F(WispAppTest, ChoosingTheOtherProjectStopsTheFirstServerStartsTheSecondAndOpensIt)
{
    WispProcess& wisp = launchWispAndWaitForPolling(sitePort);

    // Main item, Projects, then the server item "▶  Start site".
    openMenu();
    keys({QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Down"),
          QStringLiteral("Return")});
    ASSERT_TRUE(waitUntil([] { return portAnswers(sitePort); }, 30s)) << wisp.log().toStdString();
    EXPECT_TRUE(browserLaunches().isEmpty());

    // Projects ▸ api (the first project, in name order).
    openMenu();
    keys({QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Right"),
          QStringLiteral("Return")});
    ASSERT_TRUE(wisp.waitForLine(
        QStringLiteral("🔄 [StatusBarController] Switching to project: api (port %1)").arg(apiPort)))
        << wisp.log().toStdString();
    ASSERT_TRUE(waitUntil([] { return !portAnswers(sitePort); }, 30s))
        << "the first server still listens\n"
        << wisp.log().toStdString();
    ASSERT_TRUE(waitUntil([&] { return portAnswers(apiPort); }, 60s)) << wisp.log().toStdString();
    ASSERT_TRUE(waitUntil([&] { return !browserLaunches().isEmpty(); }, 60s))
        << wisp.log().toStdString();
    EXPECT_EQ(browserLaunches(), QList<QStringList>{incognito(apiPort)});
    EXPECT_TRUE(wisp.waitForLine(QStringLiteral("✅ [StatusBarController] Project switch complete")))
        << wisp.log().toStdString();
    EXPECT_TRUE(wisp.lines.contains(
        QStringLiteral("📦 [AppDelegate] Selected project changed: api (port %1)").arg(apiPort)));
}

TEST_F(WispAppTest, SecondLaunchExitsAndTheRunningInstancePerformsTheMainAction)
{
    writeSettings(true);
    // The site's server already runs, so the main action opens the browser at once.
    QProcess site;
    site.setWorkingDirectory(sitePath);
    site.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    site.setStandardOutputFile(QProcess::nullDevice());
    site.start(QStringLiteral("/usr/bin/python3"),
               {QStringLiteral("-m"), QStringLiteral("http.server"), QString::number(sitePort)});
    ASSERT_TRUE(waitUntil([] { return portAnswers(sitePort); }, 30s));

    WispProcess& first = launchWispAndWaitForPolling(sitePort);
    ASSERT_TRUE(trayIcon().has_value());

    WispProcess& second = launchWisp();
    ASSERT_TRUE(second.waitForExit()) << second.log().toStdString();
    EXPECT_EQ(second.process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.process.exitCode(), 0);
    EXPECT_TRUE(second.lines.contains(
        QStringLiteral("🚀 [WispApp] wisp is already running; asked it to perform the main action")))
        << second.log().toStdString();
    EXPECT_FALSE(second.lines.contains(QStringLiteral("🚀 [WispApp] wisp started")));

    ASSERT_TRUE(waitUntil([&] { return browserLaunches().size() == 1; }, 30s))
        << first.log().toStdString();
    EXPECT_EQ(browserLaunches().first(), incognito(sitePort));
    EXPECT_EQ(first.process.state(), QProcess::Running);

    // The global shortcut runs the same action.
    keys({QStringLiteral("ctrl+alt+l")});
    ASSERT_TRUE(waitUntil([&] { return browserLaunches().size() == 2; }, 30s))
        << first.log().toStdString();
    EXPECT_EQ(browserLaunches().last(), incognito(sitePort));

    first.stop();
    site.terminate();
    site.waitForFinished(5000);
}

TEST(WispAppWithoutDisplay, SaysSoAndExitsWithAnError)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    QProcess wisp;
    wisp.setProcessEnvironment(environment);
    wisp.start(WispProcess::executablePath(), QStringList());
    ASSERT_TRUE(wisp.waitForFinished(30000));
    EXPECT_EQ(wisp.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(wisp.exitCode(), 1);
    EXPECT_EQ(QString::fromUtf8(wisp.readAllStandardError()),
              QStringLiteral("wisp: no display to show the tray icon on (neither DISPLAY nor "
                             "WAYLAND_DISPLAY is set)\n"));
}
