#include "Managers/SettingsManager.h"
#include "Models/Browser.h"

#include "Desktop.h"
#include "LocalServers.h"
#include "WispProcess.h"

#include "support/TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRect>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

// The real wisp on the private Xvfb display with the trayer tray, for a few minutes of use: two
// hundred project switches through the status menu between two python3 http.server projects,
// with bursts of clicks on the icon and presses of the global shortcut in between. Afterwards
// wisp must hold no more descriptors and hardly more memory than after a warm-up, have no zombie
// children, and leave exactly the last chosen server running.
using namespace std::chrono_literals;
using TestSupport::waitUntil;
using namespace Desktop;
using namespace LocalServers;

namespace {

// WISP_SOAK_SWITCHES asks for another number of switches (at least 20), for a quick try by hand.
int switchCount()
{
    bool ok = false;
    const int asked = qEnvironmentVariableIntValue("WISP_SOAK_SWITCHES", &ok);
    return ok && asked >= 20 ? asked : 200;
}

const int switches = switchCount();
constexpr int warmUpSwitches = 10;
constexpr int burstEvery = 20;
constexpr int clicksPerBurst = 10;
constexpr int shortcutPressesPerBurst = 10;
constexpr qint64 allowedRssGrowthKiB = 2048;
// The status polls a person would see in ten minutes come in this soak's few.
constexpr int pollingIntervalMs = 100;

QString outputFolder()
{
    return QDir::cleanPath(QStringLiteral(WISP_BIN_DIR "/../test-output/soak"));
}

// Where each descriptor of `pid` points, by number.
QMap<int, QString> descriptors(qint64 pid)
{
    QMap<int, QString> open;
    const QDir folder(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString& name :
         folder.entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot)) {
        open.insert(name.toInt(), QFile::symLinkTarget(folder.filePath(name)));
    }
    return open;
}

qint64 residentKiB(qint64 pid)
{
    return TestSupport::processMemoryKiB(pid, "VmRSS");
}

struct ProcessEntry
{
    qint64 pid = 0;
    qint64 parent = 0;
    char state = '?';
    QString command;
};

// /proc/PID/stat: "pid (comm) state ppid ..."; the command may hold spaces and parentheses.
std::optional<ProcessEntry> processEntry(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray stat = file.readAll();
    const qsizetype open = stat.indexOf('(');
    const qsizetype close = stat.lastIndexOf(')');
    if (open < 0 || close < open) {
        return std::nullopt;
    }
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    if (fields.size() < 2) {
        return std::nullopt;
    }
    ProcessEntry entry;
    entry.pid = pid;
    entry.command = QString::fromUtf8(stat.mid(open + 1, close - open - 1));
    entry.state = fields.at(0).isEmpty() ? '?' : fields.at(0).at(0);
    entry.parent = fields.at(1).toLongLong();
    return entry;
}

QList<ProcessEntry> childrenOf(qint64 parent)
{
    QList<ProcessEntry> children;
    const QStringList pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& name : pids) {
        bool ok = false;
        const qint64 pid = name.toLongLong(&ok);
        if (!ok) {
            continue;
        }
        const std::optional<ProcessEntry> entry = processEntry(pid);
        if (entry && entry->parent == parent) {
            children.append(*entry);
        }
    }
    return children;
}

QString processTable(const QList<ProcessEntry>& entries)
{
    QString table;
    for (const ProcessEntry& entry : entries) {
        table += QStringLiteral("  %1 %2 %3\n")
                     .arg(entry.pid)
                     .arg(QLatin1Char(entry.state))
                     .arg(entry.command);
    }
    return table.isEmpty() ? QStringLiteral("  (none)\n") : table;
}

struct SoakProject
{
    QString name;
    QString path;
    int port = 0;
};

class SoakTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const QString tool = missingProgram(
                {QStringLiteral("xdotool"), QStringLiteral("xprop"), QStringLiteral("xwininfo"),
                 QStringLiteral("/usr/bin/python3"), QStringLiteral("/usr/bin/lsof")});
            !tool.isEmpty()) {
            GTEST_SKIP() << tool.toStdString() << " is not installed";
        }
        ASSERT_TRUE(QFileInfo(WispProcess::executablePath()).isExecutable())
            << WispProcess::executablePath().toStdString();
        QDir(outputFolder()).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(outputFolder())) << outputFolder().toStdString();

        // In name order, as the menu lists them.
        for (const QString& name : {QStringLiteral("alpha"), QStringLiteral("beta")}) {
            SoakProject project;
            project.name = name;
            project.path = QDir(projectsFolder.path()).filePath(name);
            do {
                project.port = TestSupport::freePort();
            } while (!projects.isEmpty() && project.port == projects.first().port);
            ASSERT_GT(project.port, 0);
            // A page with a style sheet: a static site.
            TestSupport::writeFile(
                project.path, QStringLiteral("index.html"),
                QStringLiteral("<!doctype html><title>%1</title><link rel=stylesheet "
                               "href=style.css><h1>%1</h1>\n")
                    .arg(name)
                    .toUtf8());
            TestSupport::writeFile(project.path, QStringLiteral("style.css"),
                                   "h1 { color: teal; }\n");
            projects.append(project);
        }
        ASSERT_TRUE(QFile::link(TestSupport::fixturePath(QStringLiteral("record-arguments")),
                                QDir(bin.path()).filePath(QStringLiteral("google-chrome-stable"))));
        writeSettings();
    }

    void TearDown() override
    {
        if (wisp) {
            if (HasFailure()) {
                screenshot(QStringLiteral("failure"));
            }
            serverGroups = startedServers(wisp->lines);
            wisp->stop();
            saveLog();
            if (HasFailure()) {
                std::fprintf(stderr, "--- wisp log (last 200 lines) ---\n%s\n",
                             qPrintable(wisp->lines.mid(qMax(0, wisp->lines.size() - 200))
                                            .join(QLatin1Char('\n'))));
            }
            wisp.reset();
        }
        stopProcessGroups(serverGroups);
        for (const SoakProject& project : std::as_const(projects)) {
            stopServersOn(project.port);
        }
    }

    // What onboarding leaves behind, and each project's own command and port.
    void writeSettings()
    {
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setHasCompletedOnboarding(true);
        settings.setProjectsFolder(QUrl::fromLocalFile(projectsFolder.path()));
        settings.setPreferredBrowser(Browser::chrome);
        settings.setSelectedProjectPath(projects.first().path);
        // Ctrl+Alt+L.
        settings.setHotKeyCode(37);
        settings.setHotKeyModifiers(0x1800);
        QJsonObject commands;
        QJsonObject ports;
        for (const SoakProject& project : std::as_const(projects)) {
            commands.insert(
                project.path,
                QStringLiteral("python3 -m http.server %1 --bind 127.0.0.1").arg(project.port));
            ports.insert(project.path, project.port);
        }
        settings.setProjectCommands(QJsonDocument(commands).toJson(QJsonDocument::Compact));
        settings.setProjectPorts(QJsonDocument(ports).toJson(QJsonDocument::Compact));
    }

    QProcessEnvironment environment() const
    {
        return WispProcess::environment(bin.path(), config.path(), temporary.path(),
                                        records.path());
    }

    // wisp's whole log, each line after the milliseconds since its start, beside the screenshots.
    void saveLog()
    {
        QFile file(QDir(outputFolder()).filePath(QStringLiteral("wisp.log")));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            return;
        }
        for (qsizetype index = 0; index < wisp->lines.size(); ++index) {
            file.write(QStringLiteral("%1 %2\n")
                           .arg(wisp->arrivals.at(index), 7)
                           .arg(wisp->lines.at(index))
                           .toUtf8());
        }
        std::printf("wisp log: %s\n", qPrintable(file.fileName()));
    }

    void screenshot(const QString& name)
    {
        const QString path = QDir(outputFolder()).filePath(name + QStringLiteral(".png"));
        EXPECT_TRUE(Desktop::screenshot(path)) << "no screenshot " << path.toStdString();
        std::printf("screenshot: %s\n", qPrintable(path));
        std::fflush(stdout);
    }

    int browserLaunches() const
    {
        return static_cast<int>(
            QDir(records.path()).entryList({QStringLiteral("*.args")}, QDir::Files).size());
    }

    // Closes whatever menu or alert a burst left open, until none is shown.
    bool closeMenusAndAlerts()
    {
        return waitUntil(
            [&] {
                const QList<XWindow> windows = visibleWispWindows();
                bool open = false;
                for (const XWindow& window : windows) {
                    if (isMenu(window) || isAlert(window)) {
                        open = true;
                        if (isAlert(window)) {
                            xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"),
                                     window.id});
                        }
                        keys({QStringLiteral("Escape")});
                    }
                }
                return !open;
            },
            20s);
    }

    // Until no menu or alert is open and the browser has not been launched for a while: a
    // single click acts half a second after it, once no second click follows.
    bool settle()
    {
        QElapsedTimer quiet;
        quiet.start();
        int launches = browserLaunches();
        return waitUntil(
            [&] {
                if (!closeMenusAndAlerts() || browserLaunches() != launches) {
                    launches = browserLaunches();
                    quiet.restart();
                }
                return quiet.elapsed() >= 1000;
            },
            30s);
    }

    // A right click on the icon; true once the menu shows. A new window of wisp's is looked
    // for with one quick query at a time, then checked to be the menu.
    bool openMenu()
    {
        const QStringList before = visibleWispWindowIds();
        xdotool({QStringLiteral("mousemove"), QString::number(icon.center().x()),
                 QString::number(icon.center().y()), QStringLiteral("click"), QStringLiteral("3")});
        const bool appeared = waitUntil(
            [&] {
                const QStringList now = visibleWispWindowIds();
                return std::any_of(now.cbegin(), now.cend(),
                                   [&](const QString& id) { return !before.contains(id); });
            },
            20s);
        return appeared && waitForWindow(isMenu, 10s).has_value();
    }

    // Right click on the icon, then Projects ▸ the project, by keyboard as a person does.
    void switchTo(int index)
    {
        const SoakProject& project = projects.at(index);
        const qsizetype from = wisp->lines.size();
        ASSERT_TRUE(openMenu()) << "the status menu did not open";
        QStringList path = {QStringLiteral("key"), QStringLiteral("Down"), QStringLiteral("Down"),
                            QStringLiteral("Right")};
        for (int step = 0; step < index; ++step) {
            path.append(QStringLiteral("Down"));
        }
        path.append(QStringLiteral("Return"));
        xdotool(path);
        const qsizetype started = wisp->waitForLineFrom(
            from,
            QStringLiteral("🔄 [StatusBarController] Switching to project: %1 (port %2)")
                .arg(project.name)
                .arg(project.port),
            20s);
        ASSERT_GE(started, 0) << "no switch to " << project.name.toStdString();
        ASSERT_GE(
            wisp->waitForLineFrom(
                started, QStringLiteral("✅ [StatusBarController] Project switch complete"), 60s),
            0)
            << "the switch to " << project.name.toStdString() << " did not complete";
    }

    // Ten quick clicks on the icon (single and double clicks: browser openings and menus), then
    // ten presses of the global shortcut.
    void burst()
    {
        xdotool({QStringLiteral("mousemove"), QString::number(icon.center().x()),
                 QString::number(icon.center().y()), QStringLiteral("click"),
                 QStringLiteral("--repeat"), QString::number(clicksPerBurst),
                 QStringLiteral("--delay"), QStringLiteral("150"), QStringLiteral("1")});
        ASSERT_TRUE(settle()) << "a menu or alert stayed open after the clicks";
        // Away from the icon, so that no tooltip covers anything.
        xdotool({QStringLiteral("mousemove"), QStringLiteral("0"), QStringLiteral("0")});
        const int before = browserLaunches();
        QStringList presses = {QStringLiteral("key"), QStringLiteral("--delay"),
                               QStringLiteral("100")};
        for (int press = 0; press < shortcutPressesPerBurst; ++press) {
            presses.append(QStringLiteral("ctrl+alt+l"));
        }
        xdotool(presses);
        // The server runs, so each press opens the site.
        ASSERT_TRUE(waitUntil([&] { return browserLaunches() > before; }, 20s))
            << "the global shortcut opened nothing";
        ASSERT_TRUE(settle()) << "a menu or alert stayed open after the shortcut";
        ++bursts;
    }

    // The smallest descriptor count and resident size over a few samples, with the descriptors
    // of that sample: lsof and kill script pipes come and go with every status poll.
    struct Footprint
    {
        QMap<int, QString> descriptors;
        qint64 residentKiB = 0;
    };
    Footprint quietFootprint()
    {
        Footprint smallest;
        smallest.residentKiB = -1;
        int samples = 0;
        waitUntil(
            [&] {
                const QMap<int, QString> now = descriptors(wispPid);
                if (samples == 0 || now.size() < smallest.descriptors.size()) {
                    smallest.descriptors = now;
                }
                const qint64 rss = residentKiB(wispPid);
                if (smallest.residentKiB < 0 || rss < smallest.residentKiB) {
                    smallest.residentKiB = rss;
                }
                return ++samples >= 20;
            },
            30s);
        return smallest;
    }

    QTemporaryDir config;
    QTemporaryDir projectsFolder;
    QTemporaryDir bin;
    QTemporaryDir records;
    QTemporaryDir temporary;
    QList<SoakProject> projects;
    std::unique_ptr<WispProcess> wisp;
    qint64 wispPid = 0;
    QRect icon;
    QList<qint64> serverGroups;
    int bursts = 0;
};

} // namespace

TEST_F(SoakTest, TwoHundredSwitchesWithClickAndShortcutBurstsLeakNothing)
{
    QElapsedTimer clock;
    clock.start();
    wisp = std::make_unique<WispProcess>(
        environment(),
        QStringList{QStringLiteral("--polling-interval-ms=%1").arg(pollingIntervalMs)});
    ASSERT_TRUE(wisp->process.waitForStarted(10000));
    wispPid = wisp->process.processId();
    ASSERT_TRUE(wisp->waitForLine(
        QStringLiteral("🚀 [AppDelegate] Starting polling on port %1").arg(projects.first().port),
        60s))
        << wisp->log().toStdString();
    const std::optional<XWindow> trayIcon = waitForWindow(isTrayIcon);
    ASSERT_TRUE(trayIcon) << "wisp's tray icon never appeared in the tray";
    icon = trayIcon->geometry;
    // The compressed polling is in force.
    const QString polled =
        QStringLiteral("🔍 [ServerManager] Polling port %1: STOPPED ❌").arg(projects.first().port);
    ASSERT_TRUE(waitUntil([&] { return wisp->lines.count(polled) >= 5; }, 20s))
        << wisp->log().toStdString();

    Footprint warm;
    qint64 switchMs = 0;
    qint64 burstMs = 0;
    // Starts with beta, alpha being selected: every choice is a real switch.
    for (int done = 0; done < switches; ++done) {
        QElapsedTimer step;
        step.start();
        switchTo((done + 1) % 2);
        if (HasFatalFailure()) {
            std::fprintf(stderr, "failed at switch %d of %d\n", done + 1, switches);
            return;
        }
        switchMs += step.elapsed();
        if (done + 1 == warmUpSwitches) {
            warm = quietFootprint();
        }
        if (done + 1 == switches / 2) {
            // The menu as a person sees it mid-soak.
            ASSERT_TRUE(openMenu());
            keys({QStringLiteral("Down"), QStringLiteral("Down"), QStringLiteral("Right")});
            // The Projects submenu beside the menu.
            EXPECT_TRUE(waitUntil(
                [] {
                    const QList<XWindow> windows = visibleWispWindows();
                    return std::count_if(windows.cbegin(), windows.cend(), isMenu) >= 2;
                },
                20s));
            screenshot(QStringLiteral("mid-soak-menu"));
            ASSERT_TRUE(closeMenusAndAlerts());
        }
        if ((done + 1) % burstEvery == 0 && done + 1 < switches) {
            step.restart();
            burst();
            if (HasFatalFailure()) {
                std::fprintf(stderr, "failed in the burst after switch %d\n", done + 1);
                return;
            }
            burstMs += step.elapsed();
        }
    }
    const SoakProject& last = projects.at(switches % 2);
    const SoakProject& other = projects.at((switches + 1) % 2);

    // The servers: the last choice answers, the other is gone with every earlier one.
    const QByteArray page = httpGet(last.port, 10s);
    EXPECT_TRUE(page.startsWith("HTTP/1.0 200") || page.startsWith("HTTP/1.1 200"))
        << page.left(300).toStdString();
    EXPECT_TRUE(page.contains(QStringLiteral("<h1>%1</h1>").arg(last.name).toUtf8()));
    EXPECT_TRUE(waitUntil([&] { return !portAnswers(other.port); }, 10s))
        << other.name.toStdString() << "'s server still answers on " << other.port;
    const QList<qint64> servers = startedServers(wisp->lines);
    EXPECT_EQ(servers.size(), switches) << "one server start per switch";
    QList<qint64> survivors;
    waitUntil(
        [&] {
            survivors.clear();
            for (const qint64 pid : servers.mid(0, servers.size() - 1)) {
                if (processEntry(pid)) {
                    survivors.append(pid);
                }
            }
            return survivors.isEmpty();
        },
        10s);
    QList<ProcessEntry> survivorEntries;
    for (const qint64 pid : std::as_const(survivors)) {
        if (const std::optional<ProcessEntry> entry = processEntry(pid)) {
            survivorEntries.append(*entry);
        }
    }
    EXPECT_TRUE(survivors.isEmpty()) << "earlier servers still exist:\n"
                                     << processTable(survivorEntries).toStdString();
    ASSERT_FALSE(servers.isEmpty());
    const std::optional<ProcessEntry> lastServer = processEntry(servers.last());
    ASSERT_TRUE(lastServer) << "the last server is gone";
    EXPECT_NE(lastServer->state, 'Z');

    // No zombie children (a browser stand-in that just ended is reaped within the deadline).
    QList<ProcessEntry> zombies;
    const bool noZombies = waitUntil(
        [&] {
            zombies.clear();
            for (const ProcessEntry& child : childrenOf(wispPid)) {
                if (child.state == 'Z') {
                    zombies.append(child);
                }
            }
            return zombies.isEmpty();
        },
        10s);
    EXPECT_TRUE(noZombies) << "zombie children of wisp:\n"
                           << processTable(zombies).toStdString() << "all children:\n"
                           << processTable(childrenOf(wispPid)).toStdString();

    // Descriptors and memory against the warm-up.
    Footprint end = quietFootprint();
    const bool noNewDescriptors = waitUntil(
        [&] {
            if (end.descriptors.size() <= warm.descriptors.size()) {
                return true;
            }
            end = quietFootprint();
            return end.descriptors.size() <= warm.descriptors.size();
        },
        30s);
    QStringList added;
    for (auto it = end.descriptors.cbegin(); it != end.descriptors.cend(); ++it) {
        if (warm.descriptors.value(it.key()) != it.value()) {
            added.append(QStringLiteral("  +%1 -> %2").arg(it.key()).arg(it.value()));
        }
    }
    for (auto it = warm.descriptors.cbegin(); it != warm.descriptors.cend(); ++it) {
        if (end.descriptors.value(it.key()) != it.value()) {
            added.append(QStringLiteral("  -%1 -> %2").arg(it.key()).arg(it.value()));
        }
    }
    EXPECT_TRUE(noNewDescriptors) << "descriptors after the warm-up " << warm.descriptors.size()
                                  << ", at the end " << end.descriptors.size() << ":\n"
                                  << added.join(QLatin1Char('\n')).toStdString();
    const qint64 growth = end.residentKiB - warm.residentKiB;
    EXPECT_LT(growth, allowedRssGrowthKiB) << "VmRSS after the warm-up " << warm.residentKiB
                                           << " KiB, at the end " << end.residentKiB << " KiB";

    std::printf("soak: %d switches (%.0f ms each on average), %d bursts (%.0f ms each), "
                "%d browser launches, %lld s in all\n",
                switches, static_cast<double>(switchMs) / switches, bursts,
                bursts > 0 ? static_cast<double>(burstMs) / bursts : 0.0, browserLaunches(),
                clock.elapsed() / 1000);
    std::printf("soak: descriptors %lld after the warm-up, %lld at the end; VmRSS %lld KiB after "
                "the warm-up, %lld KiB at the end (%+lld KiB)\n",
                static_cast<long long>(warm.descriptors.size()),
                static_cast<long long>(end.descriptors.size()),
                static_cast<long long>(warm.residentKiB), static_cast<long long>(end.residentKiB),
                static_cast<long long>(growth));
    std::fflush(stdout);
    RecordProperty("descriptorsAfterWarmUp", static_cast<int>(warm.descriptors.size()));
    RecordProperty("descriptorsAtEnd", static_cast<int>(end.descriptors.size()));
    RecordProperty("rssAfterWarmUpKiB", static_cast<int>(warm.residentKiB));
    RecordProperty("rssAtEndKiB", static_cast<int>(end.residentKiB));
}
