#include "Managers/BrowserManager.h"
#include "Models/BrowserError.h"
#include "Platform/linux/BrowserExecutables.h"
#include "Platform/linux/ChromiumDevTools.h"
#include "Platform/linux/LinuxBrowserBackend.h"
#include "Platform/linux/ProcessTable.h"

#include "fakes/FakeBrowserLocator.h"
#include "support/AwaitTask.h"
#include "support/HeadlessChromium.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::awaitTask;
using TestSupport::errorOf;
using namespace std::chrono_literals;

namespace {

// Browsers are looked for on PATH; the tests point PATH at a folder of stand-ins (copies of
// tests/fixtures/record-arguments) that record how they were started.
class LinuxBrowserBackendTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bin.isValid());
        ASSERT_TRUE(records.isValid());
        ASSERT_TRUE(profile.isValid());
        savedPath = qgetenv("PATH");
        qputenv("PATH", bin.path().toUtf8());
        qputenv("WISP_STANDIN_RECORD_DIR", records.path().toUtf8());
    }

    void TearDown() override
    {
        qputenv("PATH", savedPath);
        qunsetenv("WISP_STANDIN_RECORD_DIR");
    }

    // Puts a stand-in browser named `name` on PATH.
    QString installStandIn(const QString& name) const
    {
        const QString target = QDir(bin.path()).filePath(name);
        EXPECT_TRUE(
            QFile::copy(TestSupport::fixturePath(QStringLiteral("record-arguments")), target));
        QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return target;
    }

    // The launches recorded so far: the stand-in's name, then its arguments.
    QList<QStringList> launches() const
    {
        QList<QStringList> result;
        const int count = QDir(records.path()).entryList(QDir::Files).size();
        for (int i = 0; i < count; ++i) {
            QFile file(QDir(records.path()).filePath(QString::number(i) + ".args"));
            if (file.open(QIODevice::ReadOnly)) {
                QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
                lines.removeLast();
                result.append(lines);
            }
        }
        return result;
    }

    bool waitForLaunches(int count) const
    {
        return TestSupport::waitUntil([&] { return launches().size() >= count; }, 30s);
    }

    QTemporaryDir bin;
    QTemporaryDir records;
    QTemporaryDir profile;
    QByteArray savedPath;
};

// A stand-in that keeps running under the name `name`, as a running browser would.
class RunningStandIn
{
public:
    explicit RunningStandIn(const QString& program)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("WISP_STANDIN_STAY"), QStringLiteral("1"));
        environment.remove(QStringLiteral("WISP_STANDIN_RECORD_DIR"));
        process.setProcessEnvironment(environment);
        process.setProgram(program);
        process.start();
        process.waitForStarted(30000);
    }
    ~RunningStandIn()
    {
        process.kill();
        process.waitForFinished(10000);
    }
    qint64 pid() const { return process.processId(); }

private:
    QProcess process;
};

// Whether `pid` is this test process or one of its descendants.
bool startedHere(qint64 pid)
{
    const qint64 self = QCoreApplication::applicationPid();
    for (int depth = 0; depth < 64 && pid > 1; ++depth) {
        if (pid == self) {
            return true;
        }
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly)) {
            return false;
        }
        // "pid (name) state ppid ...": the name may hold spaces and parentheses.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        pid = fields.size() > 1 ? fields.at(1).toLongLong() : 0;
    }
    return false;
}

// The processes of that name that this test started: browsers (or other tests' stand-ins)
// running elsewhere on the machine do not count.
QList<qint64> startedHereNamed(const QStringList& names)
{
    QList<qint64> pids = ProcessTable::pidsNamed(names);
    pids.removeIf([](qint64 pid) { return !startedHere(pid); });
    return pids;
}

// The "find_url" behaviour mode: an existing tab, else a private window.
QCoro::Task<> openInFindMode(BrowserManaging* manager, QString url, Browser browser)
{
    const bool found = co_await manager->findExistingWindow(url, browser);
    if (!found) {
        co_await manager->openIncognito(url, browser);
    }
}

} // namespace

TEST_F(LinuxBrowserBackendTest, PrivateWindowLaunchesTheBrowserWithItsPrivateFlag)
{
    installStandIn(QStringLiteral("chromium"));
    installStandIn(QStringLiteral("microsoft-edge"));
    installStandIn(QStringLiteral("firefox"));
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    const QString address = QStringLiteral("http://localhost:3000/a\"b\\c");

    awaitTask(backend.openPrivateWindow(Browser::chrome, address));
    ASSERT_TRUE(waitForLaunches(1));
    awaitTask(backend.openPrivateWindow(Browser::edge, address));
    ASSERT_TRUE(waitForLaunches(2));
    awaitTask(backend.openPrivateWindow(Browser::firefox, address));
    ASSERT_TRUE(waitForLaunches(3));

    EXPECT_EQ(launches(),
              (QList<QStringList>{
                  {QStringLiteral("chromium"), QStringLiteral("--incognito"), address},
                  {QStringLiteral("microsoft-edge"), QStringLiteral("--inprivate"), address},
                  {QStringLiteral("firefox"), QStringLiteral("--private-window"), address},
              }));
}

TEST_F(LinuxBrowserBackendTest, PrivateWindowPrefersGoogleChromeOverChromium)
{
    installStandIn(QStringLiteral("chromium"));
    installStandIn(QStringLiteral("google-chrome"));
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    awaitTask(backend.openPrivateWindow(Browser::chrome, QStringLiteral("http://localhost:1")));
    ASSERT_TRUE(waitForLaunches(1));
    EXPECT_EQ(launches().value(0).value(0), QStringLiteral("google-chrome"));
}

TEST_F(LinuxBrowserBackendTest, LaunchedBrowserOutlivesTheLaunch)
{
    // Detached: the browser is not a child of wisp, so it survives wisp's exit.
    const QString standIn = installStandIn(QStringLiteral("firefox"));
    QFile::remove(standIn);
    TestSupport::writeFile(bin.path(), QStringLiteral("firefox"),
                           "#!/bin/sh\nPATH=/usr/bin:/bin\n"
                           "echo $PPID > \"$WISP_STANDIN_RECORD_DIR/.parent\"\n"
                           "mv \"$WISP_STANDIN_RECORD_DIR/.parent\" "
                           "\"$WISP_STANDIN_RECORD_DIR/0.args\"\n");
    QFile::setPermissions(standIn, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    awaitTask(backend.openPrivateWindow(Browser::firefox, QStringLiteral("http://localhost:1")));
    ASSERT_TRUE(waitForLaunches(1));
    const qint64 parent = launches().value(0).value(0).toLongLong();
    EXPECT_NE(parent, QCoreApplication::applicationPid());
}

TEST_F(LinuxBrowserBackendTest, MissingExecutableIsBrowserNotFound)
{
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    for (const Browser browser : {Browser::chrome, Browser::edge, Browser::firefox}) {
        const auto error = errorOf<BrowserError>(
            backend.openPrivateWindow(browser, QStringLiteral("http://localhost:1")));
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(*error, BrowserError::browserNotFound(browser));
    }
    EXPECT_EQ(errorOf<BrowserError>(backend.activate(Browser::edge))->errorDescription(),
              QStringLiteral("Edge is not installed"));
}

TEST_F(LinuxBrowserBackendTest, LaunchThatCannotStartIsScriptFailedWithTheReason)
{
    TestSupport::writeFile(bin.path(), QStringLiteral("microsoft-edge"),
                           "#!/nonexistent/interpreter\n");
    QFile::setPermissions(QDir(bin.path()).filePath(QStringLiteral("microsoft-edge")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    const auto error = errorOf<BrowserError>(
        backend.openPrivateWindow(Browser::edge, QStringLiteral("http://localhost:1")));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->errorCase(), BrowserError::Case::scriptFailed);
    EXPECT_EQ(error->browser(), Browser::edge);
    EXPECT_FALSE(error->message().isEmpty());
    EXPECT_EQ(error->errorDescription(),
              QStringLiteral("Failed to control Edge: ") + error->message());
}

TEST_F(LinuxBrowserBackendTest, ActivateStartsABrowserThatDoesNotRun)
{
    installStandIn(QStringLiteral("microsoft-edge"));
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    ASSERT_TRUE(startedHereNamed(BrowserExecutables::processNames(Browser::edge)).isEmpty());
    awaitTask(backend.activate(Browser::edge));
    ASSERT_TRUE(waitForLaunches(1));
    EXPECT_EQ(launches(), (QList<QStringList>{{QStringLiteral("microsoft-edge")}}));
}

TEST_F(LinuxBrowserBackendTest, ActivateLeavesARunningBrowserRunningWithoutStartingAnother)
{
    const QString standIn = installStandIn(QStringLiteral("microsoft-edge"));
    RunningStandIn running(standIn);
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        return ProcessTable::pidsNamed(BrowserExecutables::processNames(Browser::edge))
            .contains(running.pid());
    }));
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    awaitTask(backend.activate(Browser::edge));
    EXPECT_TRUE(launches().isEmpty());
}

TEST_F(LinuxBrowserBackendTest, ReloadWithoutADisplayIsScriptFailed)
{
    const QString standIn = installStandIn(QStringLiteral("microsoft-edge"));
    RunningStandIn running(standIn);
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        return ProcessTable::pidsNamed(BrowserExecutables::processNames(Browser::edge))
            .contains(running.pid());
    }));
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    const auto error = errorOf<BrowserError>(backend.reload(Browser::edge));
    if (!display.isEmpty()) {
        qputenv("DISPLAY", display);
    }
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->errorDescription(),
              QStringLiteral("Failed to control Edge: No X11 display to send the reload keystroke "
                             "to"));
    EXPECT_TRUE(launches().isEmpty());
}

TEST_F(LinuxBrowserBackendTest, FindWithChromeNotRunningReturnsFalseAndStartsNothing)
{
    installStandIn(QStringLiteral("chromium"));
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    EXPECT_FALSE(awaitTask(backend.findTab(Browser::chrome, QStringLiteral("localhost:3000"))));
    EXPECT_FALSE(awaitTask(backend.findTab(Browser::edge, QStringLiteral("localhost:3000"))));
    EXPECT_TRUE(launches().isEmpty());
}

TEST_F(LinuxBrowserBackendTest, StaleDevToolsPortReturnsFalse)
{
    // A browser that exited leaves its DevToolsActivePort behind; nothing answers there.
    TestSupport::writeFile(profile.path(), QStringLiteral("DevToolsActivePort"),
                           QByteArray::number(TestSupport::freePort()) +
                               "\n/devtools/browser/gone\n");
    LinuxBrowserBackend backend({profile.path()});
    backend.setProcessLookup(startedHereNamed);
    EXPECT_FALSE(awaitTask(backend.findTab(Browser::chrome, QStringLiteral("localhost:3000"))));
}

TEST_F(LinuxBrowserBackendTest, DevToolsActivePortIsReadFromTheFirstLine)
{
    EXPECT_FALSE(ChromiumDevTools::activePort(profile.path()).has_value());
    TestSupport::writeFile(profile.path(), QStringLiteral("DevToolsActivePort"),
                           "40123\n/devtools/browser/abc\n");
    EXPECT_EQ(ChromiumDevTools::activePort(profile.path()), 40123);
    TestSupport::writeFile(profile.path(), QStringLiteral("DevToolsActivePort"), "garbage\n");
    EXPECT_FALSE(ChromiumDevTools::activePort(profile.path()).has_value());
    TestSupport::writeFile(profile.path(), QStringLiteral("DevToolsActivePort"), "");
    EXPECT_FALSE(ChromiumDevTools::activePort(profile.path()).has_value());
}

TEST_F(LinuxBrowserBackendTest, DefaultProfileFoldersAreTheUsualOnes)
{
    const QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    ASSERT_FALSE(config.isEmpty());
    const QString home = QDir::homePath();
    LinuxBrowserBackend backend;
    EXPECT_EQ(backend.profileFoldersFor(Browser::chrome),
              (QStringList{
                  config + QStringLiteral("/google-chrome"), config + QStringLiteral("/chromium"),
                  home + QStringLiteral("/snap/chromium/common/chromium"),
                  home + QStringLiteral("/.var/app/com.google.Chrome/config/google-chrome"),
                  home + QStringLiteral("/.var/app/org.chromium.Chromium/config/chromium")}));
    EXPECT_EQ(
        backend.profileFoldersFor(Browser::edge),
        (QStringList{config + QStringLiteral("/microsoft-edge"),
                     home + QStringLiteral("/.var/app/com.microsoft.Edge/config/microsoft-edge")}));
    EXPECT_TRUE(backend.profileFoldersFor(Browser::firefox).isEmpty());
}

TEST_F(LinuxBrowserBackendTest, FirefoxInFindModeGetsAPrivateWindowOnlyWhenNotRunning)
{
    // One test for both states: a Firefox stand-in running in a parallel test would count as
    // running here.
    const QString standIn = installStandIn(QStringLiteral("firefox"));
    SharedFakeBrowserLocator locator;
    const auto backend = std::make_shared<LinuxBrowserBackend>(QStringList{profile.path()});
    backend->setProcessLookup(startedHereNamed);
    BrowserManager manager(backend);
    const QString address = QStringLiteral("http://localhost:3000");

    ASSERT_TRUE(startedHereNamed(BrowserExecutables::processNames(Browser::firefox)).isEmpty());
    awaitTask(openInFindMode(&manager, address, Browser::firefox));
    ASSERT_TRUE(waitForLaunches(1));
    EXPECT_EQ(launches(), (QList<QStringList>{{QStringLiteral("firefox"),
                                               QStringLiteral("--private-window"), address}}));

    {
        RunningStandIn running(standIn);
        ASSERT_TRUE(TestSupport::waitUntil([&] {
            return ProcessTable::pidsNamed(BrowserExecutables::processNames(Browser::firefox))
                .contains(running.pid());
        }));
        // Whatever its tabs show, a running Firefox is found: only brought forward.
        EXPECT_TRUE(awaitTask(manager.findExistingWindow(address, Browser::firefox)));
        EXPECT_TRUE(awaitTask(
            manager.findExistingWindow(QStringLiteral("http://elsewhere:1"), Browser::firefox)));
        awaitTask(openInFindMode(&manager, address, Browser::firefox));
        EXPECT_EQ(launches().size(), 1);
    }
}

TEST_F(LinuxBrowserBackendTest, ProcessTableSkipsZombies)
{
    // A Firefox stand-in that exits at once under a parent that never reaps it: a zombie named
    // firefox. The parent prints the zombie's id, then waits without reaping.
    const QString standIn = installStandIn(QStringLiteral("firefox"));
    QProcess parent;
    parent.start(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("\"$0\" & echo $!; exec /bin/sleep 60"), standIn});
    ASSERT_TRUE(parent.waitForStarted(30000));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return parent.canReadLine(); }, 30s));
    const qint64 zombie = parent.readLine().trimmed().toLongLong();
    ASSERT_GT(zombie, 0);
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] {
            QFile stat(QStringLiteral("/proc/%1/stat").arg(zombie));
            return stat.open(QIODevice::ReadOnly) && stat.readAll().contains(") Z ");
        },
        30s));
    EXPECT_FALSE(ProcessTable::pidsNamed({QStringLiteral("firefox")}).contains(zombie));
    parent.kill();
    parent.waitForFinished(10000);
}

// --- a real headless Chromium ---

namespace {

class ChromiumBackendTest : public LinuxBrowserBackendTest
{
protected:
    void SetUp() override
    {
        LinuxBrowserBackendTest::SetUp();
        TestSupport::writeFile(server.root(), QStringLiteral("app/index.html"),
                               "<html><title>app</title><body>app</body></html>");
        ASSERT_TRUE(server.isReady());
        browser = std::make_unique<HeadlessChromium>(server.url(QStringLiteral("/app/index.html")));
        ASSERT_TRUE(browser->isReady()) << browser->failure().toStdString();
        // A second, newer tab, so the app's tab is not the active one.
        ASSERT_TRUE(browser->openTab(QStringLiteral("about:blank")));
        ASSERT_TRUE(TestSupport::waitUntil(
            [&] { return browser->frontPageUrl() == QLatin1String("about:blank"); }, 30s));
    }

    void TearDown() override
    {
        browser.reset();
        LinuxBrowserBackendTest::TearDown();
    }

    LocalWebServer server;
    std::unique_ptr<HeadlessChromium> browser;
};

} // namespace

TEST_F(ChromiumBackendTest, TabShowingTheAddressIsFoundAndActivated)
{
    LinuxBrowserBackend backend({browser->profileFolder()});
    const QString address = QStringLiteral("127.0.0.1:%1").arg(server.port());
    EXPECT_TRUE(awaitTask(backend.findTab(Browser::chrome, address)));
    EXPECT_EQ(browser->frontPageUrl(), server.url(QStringLiteral("/app/index.html")));
}

TEST_F(ChromiumBackendTest, ManagerFindsTheTabForAnAddressWithItsScheme)
{
    SharedFakeBrowserLocator locator;
    installStandIn(QStringLiteral("chromium"));
    BrowserManager manager(
        std::make_shared<LinuxBrowserBackend>(QStringList{browser->profileFolder()}));
    // The scheme is removed, then the address is matched as a substring of the tab's address.
    awaitTask(openInFindMode(&manager, server.url(QString()), Browser::chrome));
    EXPECT_EQ(browser->frontPageUrl(), server.url(QStringLiteral("/app/index.html")));
    EXPECT_TRUE(launches().isEmpty());
}

TEST_F(ChromiumBackendTest, AddressWithoutATabReturnsFalse)
{
    LinuxBrowserBackend backend({browser->profileFolder()});
    const QString address = QStringLiteral("127.0.0.1:%1/other").arg(server.port());
    EXPECT_FALSE(awaitTask(backend.findTab(Browser::chrome, address)));
    EXPECT_EQ(browser->frontPageUrl(), QStringLiteral("about:blank"));
}

TEST_F(ChromiumBackendTest, FindModeOpensAPrivateWindowWhenNoTabMatches)
{
    SharedFakeBrowserLocator locator;
    installStandIn(QStringLiteral("chromium"));
    BrowserManager manager(
        std::make_shared<LinuxBrowserBackend>(QStringList{browser->profileFolder()}));
    const QString address = QStringLiteral("http://127.0.0.1:%1/other").arg(server.port());
    awaitTask(openInFindMode(&manager, address, Browser::chrome));
    ASSERT_TRUE(waitForLaunches(1));
    EXPECT_EQ(launches(), (QList<QStringList>{{QStringLiteral("chromium"),
                                               QStringLiteral("--incognito"), address}}));
    EXPECT_EQ(browser->frontPageUrl(), QStringLiteral("about:blank"));
}

TEST_F(ChromiumBackendTest, DevToolsBrowserPathIsReadFromTheSecondLine)
{
    const QString path = ChromiumDevTools::browserPath(browser->profileFolder());
    EXPECT_TRUE(path.startsWith(QStringLiteral("/devtools/browser/")));
    TestSupport::writeFile(profile.path(), QStringLiteral("DevToolsActivePort"), "40123\n");
    EXPECT_TRUE(ChromiumDevTools::browserPath(profile.path()).isEmpty());
}

TEST_F(ChromiumBackendTest, TabInTheFirstWindowWinsOverAMoreRecentlyUsedOneInALaterWindow)
{
    const QString first = server.url(QStringLiteral("/app/index.html"));
    const QString second = server.url(QStringLiteral("/app/index.html?second"));
    const QString secondId = browser->openWindow(second);
    ASSERT_FALSE(secondId.isEmpty());
    // The later window's tab is the most recently used one, first in the endpoint's list.
    ASSERT_TRUE(browser->request(QStringLiteral("/json/activate/") + secondId).has_value());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return browser->frontPageUrl() == second; }, 30s));
    const QString firstId = browser->pageId(first);
    ASSERT_FALSE(firstId.isEmpty());
    const qint64 firstWindow = browser->windowOf(firstId);
    ASSERT_GT(firstWindow, 0);
    ASSERT_LT(firstWindow, browser->windowOf(secondId));

    const QString address = QStringLiteral("127.0.0.1:%1/app").arg(server.port());
    const std::optional<ChromiumDevTools::Tab> tab = awaitTask(ChromiumDevTools::activateTab(
        browser->devToolsPort(), address, ChromiumDevTools::browserPath(browser->profileFolder())));

    ASSERT_TRUE(tab.has_value());
    EXPECT_EQ(tab->targetId, firstId);
    EXPECT_EQ(tab->windowId, firstWindow);
    EXPECT_TRUE(TestSupport::waitUntil([&] { return browser->frontPageUrl() == first; }, 30s));
}

TEST_F(ChromiumBackendTest, WindowsAreToldApartWithoutTheBrowserPathToo)
{
    const QString second = server.url(QStringLiteral("/app/index.html?second"));
    const QString secondId = browser->openWindow(second);
    ASSERT_FALSE(secondId.isEmpty());
    ASSERT_TRUE(browser->request(QStringLiteral("/json/activate/") + secondId).has_value());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return browser->frontPageUrl() == second; }, 30s));

    const QString address = QStringLiteral("127.0.0.1:%1/app").arg(server.port());
    const std::optional<ChromiumDevTools::Tab> tab =
        awaitTask(ChromiumDevTools::activateTab(browser->devToolsPort(), address));

    ASSERT_TRUE(tab.has_value());
    EXPECT_EQ(tab->targetId, browser->pageId(server.url(QStringLiteral("/app/index.html"))));
}

TEST_F(ChromiumBackendTest, BackendFindsTheTabOfTheFirstWindow)
{
    const QString first = server.url(QStringLiteral("/app/index.html"));
    const QString second = server.url(QStringLiteral("/app/index.html?second"));
    const QString secondId = browser->openWindow(second);
    ASSERT_FALSE(secondId.isEmpty());
    ASSERT_TRUE(browser->openTab(QStringLiteral("about:blank#later")));
    ASSERT_TRUE(browser->request(QStringLiteral("/json/activate/") + secondId).has_value());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return browser->frontPageUrl() == second; }, 30s));

    LinuxBrowserBackend backend({browser->profileFolder()});
    const QString address = QStringLiteral("127.0.0.1:%1").arg(server.port());
    EXPECT_TRUE(awaitTask(backend.findTab(Browser::chrome, address)));
    EXPECT_EQ(browser->frontPageUrl(), first);
}
