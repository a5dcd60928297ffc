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

#include <optional>
#include <utility>

#include <unistd.h>

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

// A stand-in that keeps running under the name `name`, as a running browser would. `changes`
// sets (or with nullopt removes) variables of the environment it inherits.
class RunningStandIn
{
public:
    explicit RunningStandIn(
        const QString& program,
        const QList<std::pair<const char*, std::optional<const char*>>>& changes = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("WISP_STANDIN_STAY"), QStringLiteral("1"));
        environment.remove(QStringLiteral("WISP_STANDIN_RECORD_DIR"));
        for (const auto& [name, value] : changes) {
            if (value) {
                environment.insert(QLatin1String(name), QLatin1String(*value));
            } else {
                environment.remove(QLatin1String(name));
            }
        }
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

// Sets this process's DISPLAY (nullopt: removes it, and WAYLAND_DISPLAY too) for the scope.
class ScopedDisplay
{
public:
    explicit ScopedDisplay(std::optional<const char*> display)
        : savedDisplay(qgetenv("DISPLAY"))
        , savedWayland(qgetenv("WAYLAND_DISPLAY"))
        , hadDisplay(qEnvironmentVariableIsSet("DISPLAY"))
        , hadWayland(qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
    {
        qunsetenv("WAYLAND_DISPLAY");
        if (display) {
            qputenv("DISPLAY", *display);
        } else {
            qunsetenv("DISPLAY");
        }
    }
    ~ScopedDisplay()
    {
        restore("DISPLAY", hadDisplay, savedDisplay);
        restore("WAYLAND_DISPLAY", hadWayland, savedWayland);
    }
    ScopedDisplay(const ScopedDisplay&) = delete;
    ScopedDisplay& operator=(const ScopedDisplay&) = delete;

private:
    static void restore(const char* name, bool had, const QByteArray& value)
    {
        if (had) {
            qputenv(name, value);
        } else {
            qunsetenv(name);
        }
    }

    QByteArray savedDisplay;
    QByteArray savedWayland;
    bool hadDisplay;
    bool hadWayland;
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
    // running here. No display answers, so a running Firefox has no window to raise.
    const ScopedDisplay display("no-such-display");
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
        // A running Firefox is found whatever its tabs show, but only by bringing its window
        // forward; with no window to raise, that is said, and nothing else is opened.
        const auto error =
            errorOf<BrowserError>(manager.findExistingWindow(address, Browser::firefox));
        ASSERT_TRUE(error.has_value());
        EXPECT_EQ(*error,
                  BrowserError::scriptFailed(
                      Browser::firefox,
                      QStringLiteral("No Firefox window to bring to the front on this display")));
        EXPECT_EQ(error->errorDescription(),
                  QStringLiteral("Failed to control Firefox: No Firefox window to bring to the "
                                 "front on this display"));
        EXPECT_TRUE(
            errorOf<BrowserError>(openInFindMode(&manager, address, Browser::firefox)).has_value());
        EXPECT_EQ(launches().size(), 1);
    }
}

TEST_F(LinuxBrowserBackendTest, OnlyThisUsersProcessesOnThisDisplayCount)
{
    const ScopedDisplay display(":4242.0");
    const QString standIn = installStandIn(QStringLiteral("firefox"));
    const QStringList names = BrowserExecutables::processNames(Browser::firefox);
    RunningStandIn here(standIn, {{"DISPLAY", ":4242"}});
    RunningStandIn elsewhere(standIn, {{"DISPLAY", ":4243"}});
    RunningStandIn nowhere(standIn, {{"DISPLAY", std::nullopt}});
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        const QList<qint64> all = ProcessTable::pidsNamed(names);
        return all.contains(here.pid()) && all.contains(elsewhere.pid()) &&
               all.contains(nowhere.pid());
    }));

    const QList<qint64> own = ProcessTable::ownPidsNamed(names);
    EXPECT_TRUE(own.contains(here.pid()));
    EXPECT_FALSE(own.contains(elsewhere.pid()));
    EXPECT_FALSE(own.contains(nowhere.pid()));

    // Without a display of its own, no process counts.
    {
        const ScopedDisplay none(std::nullopt);
        EXPECT_FALSE(ProcessTable::ownPidsNamed(names).contains(here.pid()));
    }
}

TEST_F(LinuxBrowserBackendTest, AnotherUsersProcessDoesNotCount)
{
    if (::getuid() != 0 || !QFile::exists(QStringLiteral("/usr/bin/setpriv"))) {
        GTEST_SKIP() << "starting another user's process takes root and setpriv";
    }
    const ScopedDisplay display(":4242");
    // A folder and a program that the other user may run.
    QTemporaryDir shared;
    ASSERT_TRUE(shared.isValid());
    QFile::setPermissions(shared.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                             QFile::ReadOther | QFile::ExeOther);
    const QString program = QDir(shared.path()).filePath(QStringLiteral("firefox"));
    ASSERT_TRUE(QFile::copy(QStringLiteral("/bin/sleep"), program));
    QFile::setPermissions(program,
                          QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);

    QProcess other;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), QStringLiteral(":4242"));
    other.setProcessEnvironment(environment);
    other.start(QStringLiteral("/usr/bin/setpriv"),
                {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                 QStringLiteral("--clear-groups"), program, QStringLiteral("86391")});
    ASSERT_TRUE(other.waitForStarted(30000));
    const QStringList names{QStringLiteral("firefox")};
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] { return ProcessTable::pidsNamed(names).contains(other.processId()); }));

    EXPECT_FALSE(ProcessTable::ownPidsNamed(names).contains(other.processId()));
    other.kill();
    other.waitForFinished(10000);
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

namespace {

// Opens a tab on `url` in the window the browser last used; its target id, or empty.
QString openTabInLastWindow(const HeadlessChromium& browser, const QString& url)
{
    const std::optional<QJsonObject> created =
        browser.command(QStringLiteral("Target.createTarget"), {{QStringLiteral("url"), url}});
    return created ? created->value(QLatin1String("targetId")).toString() : QString();
}

// Brings the tab `targetId` (and so its window) to the front, as a click on it would.
bool bringToFront(const HeadlessChromium& browser, const QString& targetId)
{
    return browser.request(QStringLiteral("/json/activate/") + targetId).has_value() &&
           TestSupport::waitUntil(
               [&] {
                   const QJsonArray pages = browser.pages();
                   return !pages.isEmpty() &&
                          pages.first().toObject().value(QLatin1String("id")).toString() ==
                              targetId;
               },
               30s);
}

} // namespace

TEST_F(ChromiumBackendTest, FrontWindowsFirstMatchingTabIsChosen)
{
    // The first window (created with the browser): app, about:blank, then app again.
    const QString firstApp = server.url(QStringLiteral("/app/index.html"));
    const QString firstAppId = browser->pageId(firstApp);
    ASSERT_FALSE(firstAppId.isEmpty());
    const QString blankId = browser->pageId(QStringLiteral("about:blank"));
    ASSERT_FALSE(blankId.isEmpty());
    const QString laterAppId =
        openTabInLastWindow(*browser, server.url(QStringLiteral("/app/index.html?later")));
    ASSERT_FALSE(laterAppId.isEmpty());

    // A second window: another page, then the app in two tabs.
    const QString otherId = browser->openWindow(QStringLiteral("about:blank#other"));
    ASSERT_FALSE(otherId.isEmpty());
    const QString secondAId =
        openTabInLastWindow(*browser, server.url(QStringLiteral("/app/index.html?a")));
    const QString secondBId =
        openTabInLastWindow(*browser, server.url(QStringLiteral("/app/index.html?b")));
    ASSERT_FALSE(secondAId.isEmpty());
    ASSERT_FALSE(secondBId.isEmpty());

    const qint64 firstWindow = browser->windowOf(firstAppId);
    const qint64 secondWindow = browser->windowOf(otherId);
    ASSERT_GT(firstWindow, 0);
    ASSERT_GT(secondWindow, 0);
    ASSERT_NE(firstWindow, secondWindow);
    ASSERT_EQ(browser->windowOf(laterAppId), firstWindow);
    ASSERT_EQ(browser->windowOf(blankId), firstWindow);
    ASSERT_EQ(browser->windowOf(secondAId), secondWindow);
    ASSERT_EQ(browser->windowOf(secondBId), secondWindow);

    const QString address = QStringLiteral("127.0.0.1:%1/app").arg(server.port());
    const QString browserPath = ChromiumDevTools::browserPath(browser->profileFolder());

    // The second window in front, on its last app tab: its first app tab is taken, neither the
    // most recently used one nor one of the older window.
    ASSERT_TRUE(bringToFront(*browser, secondBId));
    std::optional<ChromiumDevTools::Tab> tab =
        awaitTask(ChromiumDevTools::activateTab(browser->devToolsPort(), address, browserPath));
    ASSERT_TRUE(tab.has_value());
    EXPECT_EQ(tab->targetId, secondAId);
    EXPECT_EQ(tab->windowId, secondWindow);
    EXPECT_TRUE(TestSupport::waitUntil(
        [&] { return browser->frontPageUrl() == server.url(QStringLiteral("/app/index.html?a")); },
        30s));

    // The first window in front again, on a page that does not match: its first app tab.
    ASSERT_TRUE(bringToFront(*browser, blankId));
    tab = awaitTask(ChromiumDevTools::activateTab(browser->devToolsPort(), address, browserPath));
    ASSERT_TRUE(tab.has_value());
    EXPECT_EQ(tab->targetId, firstAppId);
    EXPECT_EQ(tab->windowId, firstWindow);
    EXPECT_TRUE(TestSupport::waitUntil([&] { return browser->frontPageUrl() == firstApp; }, 30s));
}

// A second window in front, holding the app in two tabs: the browser's first page, then the
// most recently used one. The second window's target ids, in tab order.
static QStringList openSecondWindow(const HeadlessChromium& browser, const LocalWebServer& server)
{
    const QString firstId =
        browser.openWindow(server.url(QStringLiteral("/app/index.html?second")));
    const QString laterId =
        openTabInLastWindow(browser, server.url(QStringLiteral("/app/index.html?second-later")));
    EXPECT_TRUE(TestSupport::waitUntil(
        [&] {
            return browser.frontPageUrl() ==
                   server.url(QStringLiteral("/app/index.html?second-later"));
        },
        30s));
    EXPECT_NE(browser.windowOf(firstId), 0);
    EXPECT_EQ(browser.windowOf(firstId), browser.windowOf(laterId));
    return {firstId, laterId};
}

TEST_F(ChromiumBackendTest, WithoutTheProtocolTheMostRecentlyUsedMatchIsTaken)
{
    const QStringList second = openSecondWindow(*browser, server);
    ASSERT_EQ(second.size(), 2);

    // A browser path that leads nowhere: the endpoint's list alone decides.
    const QString address = QStringLiteral("127.0.0.1:%1/app").arg(server.port());
    const std::optional<ChromiumDevTools::Tab> tab = awaitTask(ChromiumDevTools::activateTab(
        browser->devToolsPort(), address, QStringLiteral("/devtools/browser/none")));
    ASSERT_TRUE(tab.has_value());
    EXPECT_EQ(tab->targetId, second.at(1));
}

TEST_F(ChromiumBackendTest, WindowsAreToldApartWithoutTheBrowserPathToo)
{
    const QStringList second = openSecondWindow(*browser, server);
    ASSERT_EQ(second.size(), 2);

    const QString address = QStringLiteral("127.0.0.1:%1/app").arg(server.port());
    const std::optional<ChromiumDevTools::Tab> tab =
        awaitTask(ChromiumDevTools::activateTab(browser->devToolsPort(), address));

    ASSERT_TRUE(tab.has_value());
    EXPECT_EQ(tab->targetId, second.at(0));
}

TEST_F(ChromiumBackendTest, BackendFindsTheFirstTabOfTheFrontWindow)
{
    const QStringList second = openSecondWindow(*browser, server);
    ASSERT_EQ(second.size(), 2);

    LinuxBrowserBackend backend({browser->profileFolder()});
    const QString address = QStringLiteral("127.0.0.1:%1").arg(server.port());
    EXPECT_TRUE(awaitTask(backend.findTab(Browser::chrome, address)));
    EXPECT_TRUE(TestSupport::waitUntil(
        [&] {
            return browser->frontPageUrl() == server.url(QStringLiteral("/app/index.html?second"));
        },
        30s));
}
