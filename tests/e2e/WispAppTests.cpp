#include "Managers/ProjectOverrides.h"
#include "Managers/SettingsManager.h"
#include "Models/Browser.h"

#include "Desktop.h"
#include "LocalServers.h"
#include "NpmPackageCache.h"
#include "WispProcess.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRect>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <optional>

// The real wisp executable on the private Xvfb display with the trayer tray: its tray icon is
// clicked with xdotool, the development servers it starts are real (python3 -m http.server, and
// a small Node server through npm), and a stand-in browser records how it was started.
using namespace std::chrono_literals;
using TestSupport::waitUntil;
using namespace Desktop;
using namespace LocalServers;

namespace {

// The static site's start command listens on this fixed port.
constexpr int sitePort = 8080;

// The development servers installed from the npm registry, with the version each test uses.
struct NpmServer
{
    QString package;
    QString version;
};

// Installing all four takes a few minutes on a fresh machine; later runs use the cache.
constexpr auto npmInstallDeadline = 10min;

class WispAppTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const QString tool =
                missingProgram({QStringLiteral("xdotool"), QStringLiteral("xprop"),
                                QStringLiteral("/usr/bin/python3"), QStringLiteral("/usr/bin/npm"),
                                QStringLiteral("/usr/bin/node")});
            !tool.isEmpty()) {
            GTEST_SKIP() << tool.toStdString() << " is not installed";
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
            wisp->stopAndReport(HasFailure());
        }
        wisps.clear();
        for (const int port : std::as_const(portsToClean)) {
            stopServersOn(port);
        }
        // The development servers started by wisp, with whatever they started.
        stopProcessGroups(serverGroups);
    }

    // The process groups of the servers a wisp started, from its "Server process started" lines.
    void rememberServerGroups(const WispProcess& wisp)
    {
        for (const qint64 pid : startedServers(wisp.lines)) {
            if (!serverGroups.contains(pid)) {
                serverGroups.append(pid);
            }
        }
    }

    // A project in the projects folder that uses `server` from the npm cache (its node_modules
    // linked in), made the selected project. Skips the test when the registry cannot be reached.
    void makeNpmProject(const QString& name, const NpmServer& server,
                        const QMap<QString, QByteArray>& files)
    {
        const NpmPackageCache::Outcome cached =
            NpmPackageCache::folderOf(server.package, server.version, npmInstallDeadline);
        if (cached.registryUnreachable) {
            GTEST_SKIP() << "the npm registry cannot be reached to install "
                         << server.package.toStdString() << "@" << server.version.toStdString()
                         << ": " << cached.problem.toStdString();
        }
        ASSERT_FALSE(cached.folder.isEmpty()) << cached.problem.toStdString();

        const QString folder = QDir(projects.path()).filePath(name);
        for (auto file = files.cbegin(); file != files.cend(); ++file) {
            TestSupport::writeFile(folder, file.key(), file.value());
        }
        ASSERT_TRUE(QFile::link(QDir(cached.folder).filePath(QStringLiteral("node_modules")),
                                QDir(folder).filePath(QStringLiteral("node_modules"))));
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setSelectedProjectPath(folder);
        npmProjectPath = folder;
    }

    // A project made by a framework's own tool (`program` with `arguments`, run in the projects
    // folder), with `files` added, made the selected project. Skips the test when the tool or
    // the framework's fixed port is not available.
    void makeToolProject(const QString& name, const QString& program, const QStringList& arguments,
                         const QMap<QString, QByteArray>& files, int frameworkPort)
    {
        if (!QFileInfo(program).isExecutable()) {
            GTEST_SKIP() << program.toStdString() << " is not installed";
        }
        if (!portIsFree(frameworkPort)) {
            GTEST_SKIP() << "port " << frameworkPort << " is in use";
        }
        QProcess tool;
        tool.setWorkingDirectory(projects.path());
        tool.setProcessChannelMode(QProcess::MergedChannels);
        tool.start(program, arguments);
        ASSERT_TRUE(tool.waitForFinished(120000)) << program.toStdString();
        ASSERT_EQ(tool.exitCode(), 0) << tool.readAll().toStdString();

        const QString folder = QDir(projects.path()).filePath(name);
        for (auto file = files.cbegin(); file != files.cend(); ++file) {
            TestSupport::writeFile(folder, file.key(), file.value());
        }
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setSelectedProjectPath(folder);
    }

    // One click on the tray icon, "Start Server" in the alert; then the stand-in browser must be
    // sent to where the selected project's server really answers with `marker`.
    // With `knownPort`, wisp must know that port before the start, and the server answer there.
    void clickStartAndExpectTheBrowserWhereTheServerAnswers(const QByteArray& marker,
                                                            std::optional<int> knownPort = {})
    {
        WispProcess& wisp = launchWisp();
        const QString pollingPrefix = QStringLiteral("🚀 [AppDelegate] Starting polling on port ");
        ASSERT_TRUE(wisp.waitForLineStartingWith(pollingPrefix, 60s)) << wisp.log().toStdString();
        const int detectedPort =
            wisp.lines.at(wisp.indexStartingWith(pollingPrefix)).mid(pollingPrefix.size()).toInt();
        ASSERT_GT(detectedPort, 0);
        // The start clears the project's port first: it must be nobody else's.
        ASSERT_TRUE(portIsFree(detectedPort)) << "port " << detectedPort << " is in use";
        portsToClean.append(detectedPort);

        clickTrayIcon(1);
        const std::optional<XWindow> alert = waitForWindow(isAlert);
        ASSERT_TRUE(alert.has_value()) << wisp.log().toStdString();
        xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), alert->id});
        keys({QStringLiteral("Return")});

        const bool opened = waitUntil([&] { return !browserLaunches().isEmpty(); }, 120s);
        rememberServerGroups(wisp);
        ASSERT_TRUE(opened) << wisp.log().toStdString();
        const QStringList launch = browserLaunches().first();
        ASSERT_EQ(launch.size(), 2) << launch.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(launch.first(), QStringLiteral("--incognito"));
        const QString prefix = QStringLiteral("http://localhost:");
        ASSERT_TRUE(launch.last().startsWith(prefix)) << launch.last().toStdString();
        const int openedPort = launch.last().mid(prefix.size()).toInt();
        ASSERT_GT(openedPort, 0) << launch.last().toStdString();
        portsToClean.append(openedPort);
        RecordProperty("detectedPort", detectedPort);
        RecordProperty("openedPort", openedPort);
        if (knownPort) {
            EXPECT_EQ(detectedPort, *knownPort);
            EXPECT_EQ(openedPort, *knownPort);
        }

        // A development server may compile the page on its first request.
        const QByteArray page = httpGet(openedPort, 60s);
        EXPECT_TRUE(page.startsWith("HTTP/1.1 200")) << page.left(500).toStdString();
        EXPECT_TRUE(page.contains(marker)) << "opened " << launch.last().toStdString() << ":\n"
                                           << page.left(2000).toStdString() << "\n"
                                           << wisp.log().toStdString();

        if (openedPort != detectedPort) {
            // Learned from the server: said, stored and polled.
            EXPECT_TRUE(wisp.lines.contains(
                QStringLiteral("🔎 [ServerManager] Port %1 silent; server listens on %2, using it")
                    .arg(detectedPort)
                    .arg(openedPort)))
                << wisp.log().toStdString();
            EXPECT_TRUE(wisp.waitForLine(
                QStringLiteral("🔍 [ServerManager] Polling port %1: RUNNING ✅").arg(openedPort)))
                << wisp.log().toStdString();
            QSettings stored(QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")),
                             QSettings::IniFormat);
            const QJsonObject ports =
                QJsonDocument::fromJson(
                    stored.value(QStringLiteral("projectPorts")).toString().toUtf8())
                    .object();
            EXPECT_EQ(ports.value(npmProjectPath).toInt(), openedPort)
                << stored.value(QStringLiteral("projectPorts")).toString().toStdString();
        }
    }

    void makeProjects()
    {
        const QString root = projects.path();
        TestSupport::writeFile(root, QStringLiteral("site/index.html"),
                               "<!doctype html><title>site</title><link rel=stylesheet "
                               "href=style.css><h1>site</h1>\n");
        TestSupport::writeFile(root, QStringLiteral("site/style.css"), "h1 { color: teal; }\n");
        writeNodeProject(root, QStringLiteral("api"), apiPort, R"(const http = require('http');
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
        QProcessEnvironment environment =
            WispProcess::environment(bin.path(), config.path(), temporary.path(), records.path());
        // The development servers it starts ask nothing and send nothing home.
        environment.insert(QStringLiteral("ASTRO_TELEMETRY_DISABLED"), QStringLiteral("1"));
        if (!home.isEmpty()) {
            environment.insert(QStringLiteral("HOME"), home);
        }
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

    void clickTrayIcon(int button)
    {
        ASSERT_TRUE(Desktop::clickTrayIcon(button))
            << "wisp's tray icon never appeared in the tray";
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
    QList<qint64> serverGroups;
    QString npmProjectPath;
    // wisp's home, when a test gives it one of its own (with rc files for its login shell).
    QString home;
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
    ASSERT_TRUE(waitForWindow(isTrayIcon).has_value());

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

TEST_F(WispAppTest, AViteProjectOpensWhereItsServerAnswers)
{
    makeNpmProject(QStringLiteral("vite-app"), {QStringLiteral("vite"), QStringLiteral("5.4.21")},
                   {{QStringLiteral("package.json"),
                     R"({"name": "vite-app", "private": true, "type": "module",
  "scripts": {"dev": "vite"}, "devDependencies": {"vite": "5.4.21"}}
)"},
                    {QStringLiteral("index.html"),
                     "<!doctype html><title>vite-app</title><h1>vite marker 5173</h1>\n"}});
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("vite marker 5173");
}

TEST_F(WispAppTest, AnAstroProjectOpensWhereItsServerAnswers)
{
    makeNpmProject(QStringLiteral("astro-site"),
                   {QStringLiteral("astro"), QStringLiteral("4.16.19")},
                   {{QStringLiteral("package.json"),
                     R"({"name": "astro-site", "private": true, "type": "module",
  "scripts": {"dev": "astro dev"}, "dependencies": {"astro": "4.16.19"}}
)"},
                    {QStringLiteral("src/pages/index.astro"),
                     "<html><body><h1>astro marker 4321</h1></body></html>\n"}});
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("astro marker 4321");
}

TEST_F(WispAppTest, AnEleventyProjectOpensWhereItsServerAnswers)
{
    makeNpmProject(QStringLiteral("eleventy-site"),
                   {QStringLiteral("@11ty/eleventy"), QStringLiteral("2.0.1")},
                   {{QStringLiteral("package.json"),
                     R"({"name": "eleventy-site", "private": true,
  "scripts": {"dev": "eleventy --serve"}, "devDependencies": {"@11ty/eleventy": "2.0.1"}}
)"},
                    {QStringLiteral("index.md"), "# eleventy marker 8080\n"}});
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("eleventy marker 8080");
}

TEST_F(WispAppTest, AnExpressAppOnAFixedPortOpensWhereItAnswers)
{
    // Fixed in its server file's listen call, read by detection; free on this machine.
    const int fixedPort = TestSupport::freePort();
    makeNpmProject(
        QStringLiteral("express-api"), {QStringLiteral("express"), QStringLiteral("4.22.3")},
        {{QStringLiteral("package.json"),
          R"({"name": "express-api", "private": true,
  "scripts": {"dev": "node server.js"}, "dependencies": {"express": "4.22.3"}}
)"},
         {QStringLiteral("server.js"), QStringLiteral(R"(const express = require('express');
const app = express();
app.get('/', (request, response) => response.send('express marker'));
app.listen(%1, () => console.log('API listening on port %1'));
)")
                                           .arg(fixedPort)
                                           .toUtf8()}});
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("express marker");
}

TEST_F(WispAppTest, AProjectWhoseToolIsOnlyOnTheLoginShellsPathStartsAndOpens)
{
    // A project whose command needs a tool that ~/.profile appends to PATH, as Go's installation
    // instructions do for go; none of the servers' fixed directories holds one. The tool's name
    // is the test's own, so that no toolchain installed on the machine can stand in for it.
    QTemporaryDir privateHome;
    home = privateHome.path();
    TestSupport::writeFile(home, QStringLiteral(".profile"),
                           "export PATH=$PATH:$HOME/usr-local-tool/bin\n");
    const int toolPort = TestSupport::freePort();
    ASSERT_GT(toolPort, 0);
    portsToClean.append(toolPort);
    const QString toolName = QStringLiteral("wisp-e2e-profile-tool");
    // Stands in for a toolchain's dev server: serves the project folder where the project says.
    const QString tool = QDir(home).filePath(QStringLiteral("usr-local-tool/bin/") + toolName);
    TestSupport::writeFile(
        home, QStringLiteral("usr-local-tool/bin/") + toolName,
        QStringLiteral("#!/bin/sh\nexec /usr/bin/python3 -m http.server %1 --protocol HTTP/1.1 "
                       "--bind 127.0.0.1\n")
            .arg(toolPort)
            .toUtf8());
    QFile::setPermissions(tool, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    for (const QString& directory : QString::fromLocal8Bit(qgetenv("PATH")).split(':')) {
        ASSERT_FALSE(QFileInfo::exists(QDir(directory).filePath(toolName)))
            << "the tool on this machine's PATH would make the test prove nothing: "
            << directory.toStdString();
    }
    const QString project = QDir(projects.path()).filePath(QStringLiteral("tool-app"));
    TestSupport::writeFile(project, QStringLiteral("index.html"),
                           "<!doctype html><title>tool-app</title><h1>tool marker</h1>\n");
    // A second page makes the folder a static site.
    TestSupport::writeFile(project, QStringLiteral("about.html"),
                           "<!doctype html><title>about</title>\n");
    const QString command = toolName + QStringLiteral(" serve");
    {
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setSelectedProjectPath(project);
        ProjectOverrides overrides(&settings);
        overrides.setPort(project, toolPort);
        overrides.setCommand(project, command);
    }

    clickStartAndExpectTheBrowserWhereTheServerAnswers("tool marker");

    const WispProcess& wisp = *wisps.back();
    EXPECT_TRUE(wisp.lines.contains(
        QStringLiteral("🚀 [ServerManager] Starting server: %1 in %2").arg(command, project)))
        << wisp.log().toStdString();
    EXPECT_GE(wisp.indexStartingWith(
                  QStringLiteral("✅ [ShellEnvironment] Login shell /bin/sh answered in ")),
              0)
        << wisp.log().toStdString();
}

TEST_F(WispAppTest, ADjangoProjectOpensWhereItsServerAnswers)
{
    makeToolProject(QStringLiteral("mysite"), QStringLiteral("/usr/bin/django-admin"),
                    {QStringLiteral("startproject"), QStringLiteral("mysite")}, {}, 8000);
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    // Django's own start page, shown while the project has no pages of its own.
    clickStartAndExpectTheBrowserWhereTheServerAnswers("The install worked successfully!", 8000);
}

TEST_F(WispAppTest, AFlaskAppOpensWhereItsServerAnswers)
{
    if (QProcess::execute(QStringLiteral("/usr/bin/python3"),
                          {QStringLiteral("-c"), QStringLiteral("import flask")}) != 0) {
        GTEST_SKIP() << "Flask is not installed for /usr/bin/python3";
    }
    makeToolProject(QStringLiteral("flask-app"), QStringLiteral("/bin/mkdir"),
                    {QStringLiteral("flask-app")},
                    {{QStringLiteral("requirements.txt"), "flask\n"},
                     {QStringLiteral("app.py"), R"(from flask import Flask

app = Flask(__name__)


@app.route("/")
def index():
    return "<h1>flask marker</h1>"
)"}},
                    5000);
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("flask marker", 5000);
}

TEST_F(WispAppTest, AHugoSiteOpensWhereItsServerAnswers)
{
    makeToolProject(QStringLiteral("blog"), QStringLiteral("/usr/bin/hugo"),
                    {QStringLiteral("new"), QStringLiteral("site"), QStringLiteral("blog")},
                    {{QStringLiteral("content/_index.md"), "---\ntitle: Home\n---\nhugo marker\n"},
                     {QStringLiteral("layouts/index.html"),
                      "<!doctype html><html><body>{{ .Content }}</body></html>\n"}},
                    1313);
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("hugo marker", 1313);
}

TEST_F(WispAppTest, AJekyllSiteOpensWhereItsServerAnswers)
{
    makeToolProject(QStringLiteral("journal"), QStringLiteral("/usr/bin/jekyll"),
                    {QStringLiteral("new"), QStringLiteral("--blank"), QStringLiteral("journal")},
                    {{QStringLiteral("index.md"), "---\nlayout: default\n---\njekyll marker\n"}},
                    4000);
    if (IsSkipped() || HasFatalFailure()) {
        return;
    }
    clickStartAndExpectTheBrowserWhereTheServerAnswers("jekyll marker", 4000);
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
