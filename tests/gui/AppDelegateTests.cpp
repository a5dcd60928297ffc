#include "App/AppDelegate.h"

#include "App/AlertCoordinator.h"
#include "App/AuxiliaryWindows.h"
#include "HotKey/HotKey.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Managers/ProjectManager.h"
#include "Managers/ProjectOverrides.h"
#include "Managers/SettingsManager.h"
#include "Views/OnboardingView.h"
#include "Views/ProjectOverridesEditor.h"
#include "Views/SettingsPopover.h"
#include "Views/SettingsView.h"
#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeFolderChooser.h"
#include "fakes/FakeHotKeyBackend.h"
#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/AwaitTask.h"
#include "support/KeyPresses.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSupport.h"
#include "unit/ServerTestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using TestSupport::awaitTask;
using TestSupport::waitUntil;

namespace {

const QString selectedChanged = QStringLiteral("📦 [AppDelegate] Selected project changed: ");

// A server manager that notes, when polling is invalidated, how far the rest of the shut-down
// has got.
class ShutdownServerManager : public FakeServerManager
{
public:
    std::function<void()> onInvalidate;

    void invalidatePollingTimer() override
    {
        FakeServerManager::invalidatePollingTimer();
        if (onInvalidate) {
            onInvalidate();
        }
    }
};

// A hot key backend that notes what the permissions monitor was doing when the shortcut was
// dropped.
class ShutdownHotKeyBackend : public FakeHotKeyBackend
{
public:
    std::function<void()> onUnregister;

    void unregisterHotKey(Ref registration) override
    {
        FakeHotKeyBackend::unregisterHotKey(registration);
        if (onUnregister) {
            onUnregister();
        }
    }
};

class AppDelegateTest : public ::testing::Test
{
protected:
    AppDelegateTest()
    {
        auto backend = std::make_unique<ShutdownHotKeyBackend>();
        hotKeys = backend.get();
        HotKeysController::setBackend(std::move(backend));
    }

    ~AppDelegateTest() override { delegate.reset(); }

    // The log without the selection subscription's lines, which come on later turns.
    QStringList startupLines() const
    {
        QStringList lines = log.lines();
        lines.removeIf([](const QString& line) { return line.startsWith(selectedChanged); });
        return lines;
    }

    QString settingsPath() const { return configDir.filePath(QStringLiteral("wisp.conf")); }

    // Settings written before launch, the way an earlier run left them.
    std::unique_ptr<SettingsManager> storedSettings() const
    {
        return std::make_unique<SettingsManager>(
            std::make_unique<QSettings>(settingsPath(), QSettings::IniFormat));
    }

    void completeOnboarding(const std::optional<QString>& folder,
                            const std::optional<QString>& selectedPath = std::nullopt)
    {
        const auto settings = storedSettings();
        settings->setHasCompletedOnboarding(true);
        settings->setPreferredBrowser(Browser::chrome);
        if (folder) {
            settings->setProjectsFolder(QUrl::fromLocalFile(*folder));
        }
        if (selectedPath) {
            settings->setSelectedProjectPath(*selectedPath);
        }
    }

    AppDelegateFactories factories()
    {
        AppDelegateFactories made;
        made.makeSettingsManager = [this] {
            created.append(QStringLiteral("SettingsManager"));
            return storedSettings();
        };
        made.makePermissionsManager = [this] {
            created.append(QStringLiteral("PermissionsManager"));
            return std::make_unique<PermissionsManager>(probes);
        };
        made.makeProjectManager = [this]() -> std::unique_ptr<ProjectManaging> {
            created.append(QStringLiteral("ProjectManager"));
            if (realProjectManager) {
                return std::make_unique<ProjectManager>();
            }
            auto manager = std::make_unique<FakeProjectManager>();
            manager->scanResult = scanResult;
            fakeProjects = manager.get();
            return manager;
        };
        made.makeServerManager = [this]() -> std::unique_ptr<ServerManaging> {
            created.append(QStringLiteral("ServerManager"));
            if (realServerManager) {
                auto manager = std::make_unique<ServerManager>();
                realServer = manager.get();
                return manager;
            }
            auto manager = std::make_unique<ShutdownServerManager>();
            manager->listeningPorts = listeningPorts;
            server = manager.get();
            return manager;
        };
        made.makeBrowserManager = [this]() -> std::unique_ptr<BrowserManaging> {
            created.append(QStringLiteral("BrowserManager"));
            auto manager = std::make_unique<FakeBrowserManager>();
            browser = manager.get();
            return manager;
        };
        made.makeHotKeyManager = [this](SettingsManager* settings) {
            created.append(QStringLiteral("HotKeyManager"));
            return std::make_unique<HotKeyManager>(settings);
        };
        made.makeAlertPresenter = [this]() -> std::shared_ptr<AlertPresenter> {
            return presenter;
        };
        made.settingsOpener = opener;
        made.folderChooser = chooser;
        made.statusBarEnvironment.quit = [this] {
            ++quits;
        };
        return made;
    }

    AppDelegate& launch()
    {
        delegate = std::make_unique<AppDelegate>(factories());
        delegate->applicationDidFinishLaunching();
        return *delegate;
    }

    // Launches and waits for the start-up scan to end.
    AppDelegate& launchAndScan()
    {
        launch();
        EXPECT_TRUE(waitUntil([&] {
            return !log.linesStartingWith(QStringLiteral("🚀 [AppDelegate] Starting polling"))
                        .isEmpty();
        }));
        return *delegate;
    }

    // Runs the event loop until queued deliveries of this turn have happened.
    static void settle()
    {
        bool turned = false;
        QMetaObject::invokeMethod(
            qApp, [&] { turned = true; }, Qt::QueuedConnection);
        ASSERT_TRUE(waitUntil([&] { return turned; }));
        QCoreApplication::processEvents();
    }

    QTemporaryDir configDir;
    QTemporaryDir projectsDir;
    LogCapture log;
    ShutdownHotKeyBackend* hotKeys = nullptr;
    std::shared_ptr<FakePermissionProbes> probes = std::make_shared<FakePermissionProbes>();
    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    std::shared_ptr<FakeSystemSettingsOpener> opener = std::make_shared<FakeSystemSettingsOpener>();
    std::shared_ptr<FakeFolderChooser> chooser = std::make_shared<FakeFolderChooser>();

    bool realProjectManager = false;
    bool realServerManager = false;
    ServerManager* realServer = nullptr;
    std::optional<QList<Project>> scanResult;
    QSet<int> listeningPorts;

    QStringList created;
    FakeProjectManager* fakeProjects = nullptr;
    ShutdownServerManager* server = nullptr;
    FakeBrowserManager* browser = nullptr;
    int quits = 0;
    std::unique_ptr<AppDelegate> delegate;
};

Project project(const QString& name, int port, const QString& folder,
                const QList<Project>& subprojects = {})
{
    return TestProjects::make(name, port, folder, subprojects);
}

} // namespace

// --- start-up ---

TEST_F(AppDelegateTest, EveryFieldIsEmptyBeforeLaunch)
{
    AppDelegate unlaunched(factories());
    EXPECT_EQ(unlaunched.statusBarController, nullptr);
    EXPECT_EQ(unlaunched.settingsManager, nullptr);
    EXPECT_EQ(unlaunched.serverManager, nullptr);
    EXPECT_EQ(unlaunched.projectManager, nullptr);
    EXPECT_EQ(unlaunched.browserManager, nullptr);
    EXPECT_EQ(unlaunched.permissionsManager, nullptr);
    EXPECT_EQ(unlaunched.hotKeyManager, nullptr);
    EXPECT_EQ(unlaunched.onboardingWindow(), nullptr);
    EXPECT_EQ(unlaunched.settingsPopover(), nullptr);
    EXPECT_TRUE(unlaunched.cancellables.isEmpty());
    EXPECT_FALSE(unlaunched.debugForceOnboarding);
    EXPECT_TRUE(created.isEmpty());
}

TEST_F(AppDelegateTest, ManagersAreCreatedInOrderAndHandedToTheStatusBarController)
{
    completeOnboarding(std::nullopt);
    launch();

    EXPECT_EQ(created,
              (QStringList{QStringLiteral("SettingsManager"), QStringLiteral("PermissionsManager"),
                           QStringLiteral("ProjectManager"), QStringLiteral("ServerManager"),
                           QStringLiteral("BrowserManager"), QStringLiteral("HotKeyManager")}));
    StatusBarController* controller = delegate->statusBarController;
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->settingsManager, delegate->settingsManager);
    EXPECT_EQ(controller->serverManager, delegate->serverManager);
    EXPECT_EQ(controller->projectManager, delegate->projectManager);
    EXPECT_EQ(controller->browserManager, delegate->browserManager);
    EXPECT_EQ(controller->permissionsManager, delegate->permissionsManager);
    EXPECT_EQ(controller->hotKeyManager, delegate->hotKeyManager);
    EXPECT_EQ(delegate->serverManager, server);
    EXPECT_EQ(delegate->browserManager, browser);
    ASSERT_NE(controller->statusItem, nullptr);
    EXPECT_EQ(controller->statusItem->toolTip(),
              QStringLiteral("wisp - Click to open browser, double-click for menu"));
    EXPECT_NE(controller->menu, nullptr);
    EXPECT_FALSE(delegate->cancellables.isEmpty());
}

TEST_F(AppDelegateTest, FirstLaunchShowsOnboardingAndNeitherScansNorPolls)
{
    {
        // A folder is known, yet onboarding was never finished.
        const auto settings = storedSettings();
        settings->setProjectsFolder(QUrl::fromLocalFile(projectsDir.path()));
    }
    scanResult = QList<Project>{project(QStringLiteral("web"), 3000, QStringLiteral("/p/web"))};
    launch();
    settle();

    ASSERT_NE(delegate->onboardingWindow(), nullptr);
    EXPECT_TRUE(delegate->onboardingWindow()->isVisible());
    EXPECT_EQ(delegate->onboardingWindow()->windowTitle(), QStringLiteral("wisp"));
    EXPECT_TRUE(fakeProjects->scannedFolders.isEmpty());
    EXPECT_TRUE(server->callsStartingWith(QStringLiteral("startPolling")).isEmpty());
    EXPECT_TRUE(server->callsStartingWith(QStringLiteral("updatePollingPort")).isEmpty());
    EXPECT_EQ(fakeProjects->selectedProject(), std::nullopt);
}

TEST_F(AppDelegateTest, FinishingOnboardingWithNoProjectSelectedPollsPort3000)
{
    launch();
    ASSERT_NE(delegate->onboardingWindow(), nullptr);
    auto* view = delegate->onboardingWindow()->findChild<OnboardingView*>();
    ASSERT_NE(view, nullptr);
    view->finish();

    EXPECT_EQ(delegate->onboardingWindow(), nullptr);
    EXPECT_TRUE(log.contains(
        QStringLiteral("🚀 [AppDelegate] Onboarding complete - starting polling on port 3000")));
    EXPECT_EQ(server->calls, QStringList{QStringLiteral("startPolling(3000)")});
    EXPECT_TRUE(delegate->settingsManager->hasCompletedOnboarding());
}

TEST_F(AppDelegateTest, FinishingOnboardingPollsTheSelectedProjectsPort)
{
    launch();
    fakeProjects->setSelectedProject(
        project(QStringLiteral("web"), 5173, QStringLiteral("/p/web")));
    delegate->onboardingWindow()->findChild<OnboardingView*>()->finish();
    EXPECT_TRUE(log.contains(
        QStringLiteral("🚀 [AppDelegate] Onboarding complete - starting polling on port 5173")));
    EXPECT_EQ(server->callsStartingWith(QStringLiteral("startPolling")),
              QStringList{QStringLiteral("startPolling(5173)")});
}

TEST_F(AppDelegateTest, OnboardingCompletedWithoutAFolderPolls3000WithAnEmptyList)
{
    completeOnboarding(std::nullopt);
    launch();
    settle();

    EXPECT_EQ(server->calls, QStringList{QStringLiteral("startPolling(3000)")});
    EXPECT_TRUE(fakeProjects->scannedFolders.isEmpty());
    EXPECT_TRUE(delegate->projectManager->projects().isEmpty());
    EXPECT_EQ(delegate->projectManager->selectedProject(), std::nullopt);
    EXPECT_EQ(delegate->onboardingWindow(), nullptr);
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("🚀 [AppDelegate]")).isEmpty());
}

TEST_F(AppDelegateTest, EmptyListAfterScanningLeavesTheSelectionNilAndPolls3000)
{
    realProjectManager = true;
    completeOnboarding(projectsDir.path());
    launchAndScan();
    settle();

    EXPECT_TRUE(delegate->projectManager->projects().isEmpty());
    EXPECT_EQ(delegate->projectManager->selectedProject(), std::nullopt);
    EXPECT_EQ(server->calls, QStringList{QStringLiteral("startPolling(3000)")});
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("📦")), QStringList());
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("🚀 [AppDelegate]")),
              QStringList{QStringLiteral("🚀 [AppDelegate] Starting polling on port 3000")});
    EXPECT_EQ(delegate->settingsManager->selectedProjectPath(), std::nullopt);
}

TEST_F(AppDelegateTest, ScanOfARealFolderRestoresTheStoredProjectAndPollsItsPort)
{
    realProjectManager = true;
    TestSupport::writeFile(projectsDir.path(), QStringLiteral("api/package.json"),
                           R"({"scripts": {"dev": "node server.js --port 4100"}})");
    TestSupport::writeFile(projectsDir.path(), QStringLiteral("site/index.html"), "<html></html>");
    TestSupport::writeFile(projectsDir.path(), QStringLiteral("site/style.css"), "body {}");
    const QString site = QDir(projectsDir.path()).filePath(QStringLiteral("site"));
    completeOnboarding(projectsDir.path(), site);
    launchAndScan();

    ASSERT_EQ(delegate->projectManager->projects().size(), 2);
    ASSERT_TRUE(delegate->projectManager->selectedProject().has_value());
    EXPECT_EQ(delegate->projectManager->selectedProject()->name, QStringLiteral("site"));
    EXPECT_TRUE(log.contains(QStringLiteral("📦 [AppDelegate] Selected: site (port 8080)")));
    EXPECT_TRUE(log.contains(QStringLiteral("🚀 [AppDelegate] Starting polling on port 8080")));
    EXPECT_EQ(delegate->settingsManager->selectedProjectPath(), std::optional<QString>(site));
    EXPECT_TRUE(server->calls.contains(QStringLiteral("startPolling(8080)")));
}

TEST_F(AppDelegateTest, ProjectNameWithPlaceholdersIsLoggedAsItIs)
{
    realProjectManager = true;
    const QString name = QStringLiteral("%1 shop %2");
    TestSupport::writeFile(projectsDir.path(), name + QStringLiteral("/index.html"),
                           "<html></html>");
    TestSupport::writeFile(projectsDir.path(), name + QStringLiteral("/style.css"), "body {}");
    const QString folder = QDir(projectsDir.path()).filePath(name);
    completeOnboarding(projectsDir.path(), folder);
    launchAndScan();

    ASSERT_TRUE(delegate->projectManager->selectedProject().has_value());
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("📦 [AppDelegate] Selected: ")),
              QStringList{QStringLiteral("📦 [AppDelegate] Selected: %1 shop %2 (port 8080)")});
    EXPECT_TRUE(waitUntil([&] {
        return log.contains(
            QStringLiteral("📦 [AppDelegate] Selected project changed: %1 shop %2 (port 8080)"));
    }));
}

TEST_F(AppDelegateTest, StoredPathOfAProjectThatBecameASubProjectSelectsIt)
{
    const Project admin = project(QStringLiteral("admin"), 3001, QStringLiteral("/p/mono/admin"));
    scanResult = QList<Project>{
        project(QStringLiteral("api"), 4000, QStringLiteral("/p/api")),
        project(QStringLiteral("mono"), 3000, QStringLiteral("/p/mono"), {admin}),
    };
    completeOnboarding(projectsDir.path(), QStringLiteral("/p/mono/admin"));
    launchAndScan();

    EXPECT_EQ(fakeProjects->scannedFolders, QList<QUrl>{QUrl::fromLocalFile(projectsDir.path())});
    EXPECT_EQ(fakeProjects->selectedProject(), std::optional<Project>(admin));
    EXPECT_EQ(startupLines(), (QStringList{
                                  QStringLiteral("📦 [Migration] Parent became nested: admin"),
                                  QStringLiteral("📦 [AppDelegate] Selected: admin (port 3001)"),
                                  QStringLiteral("🚀 [AppDelegate] Starting polling on port 3001"),
                              }));
    EXPECT_EQ(delegate->settingsManager->selectedProjectPath(),
              std::optional<QString>(QStringLiteral("/p/mono/admin")));
    EXPECT_EQ(server->calls, QStringList{QStringLiteral("startPolling(3001)")});

    // The selection subscription follows on a later turn and moves polling to the same port.
    ASSERT_TRUE(waitUntil([&] { return log.contains(selectedChanged + "admin (port 3001)"); }));
    EXPECT_EQ(server->calls, (QStringList{QStringLiteral("startPolling(3001)"),
                                          QStringLiteral("updatePollingPort(3001)")}));
}

TEST_F(AppDelegateTest, StoredPathThatBecameAParentSelectsItsFirstProjectInListOrder)
{
    scanResult = QList<Project>{
        project(QStringLiteral("alpha"), 3000, QStringLiteral("/p/alpha")),
        project(QStringLiteral("web"), 5173, QStringLiteral("/p/group/web")),
        project(QStringLiteral("docs"), 4000, QStringLiteral("/p/group/docs")),
    };
    completeOnboarding(projectsDir.path(), QStringLiteral("/p/group"));
    launchAndScan();

    ASSERT_TRUE(fakeProjects->selectedProject().has_value());
    EXPECT_EQ(fakeProjects->selectedProject()->name, QStringLiteral("web"));
    EXPECT_EQ(startupLines(), (QStringList{
                                  QStringLiteral("📦 [Migration] Selected first child: web"),
                                  QStringLiteral("📦 [AppDelegate] Selected: web (port 5173)"),
                                  QStringLiteral("🚀 [AppDelegate] Starting polling on port 5173"),
                              }));
    EXPECT_EQ(delegate->settingsManager->selectedProjectPath(),
              std::optional<QString>(QStringLiteral("/p/group/web")));
}

TEST_F(AppDelegateTest, NoStoredPathSelectsTheFirstProject)
{
    scanResult = QList<Project>{
        project(QStringLiteral("alpha"), 3400, QStringLiteral("/p/alpha")),
        project(QStringLiteral("beta"), 3500, QStringLiteral("/p/beta")),
    };
    completeOnboarding(projectsDir.path());
    launchAndScan();
    EXPECT_EQ(fakeProjects->selectedProject()->name, QStringLiteral("alpha"));
    EXPECT_TRUE(log.contains(QStringLiteral("🚀 [AppDelegate] Starting polling on port 3400")));
}

TEST_F(AppDelegateTest, EachNewSelectionIsLoggedAndMovesPollingOnALaterTurn)
{
    completeOnboarding(std::nullopt);
    launch();
    settle();
    server->calls.clear();

    fakeProjects->setSelectedProject(project(QStringLiteral("shop"), 4321, QStringLiteral("/p/s")));
    // Delivered on the main queue: not yet.
    EXPECT_TRUE(server->calls.isEmpty());
    ASSERT_TRUE(waitUntil([&] { return !server->calls.isEmpty(); }));
    EXPECT_EQ(server->calls, QStringList{QStringLiteral("updatePollingPort(4321)")});
    EXPECT_EQ(log.linesStartingWith(selectedChanged),
              QStringList{selectedChanged + QStringLiteral("shop (port 4321)")});

    // No selection does nothing.
    fakeProjects->setSelectedProject(std::nullopt);
    settle();
    EXPECT_EQ(server->calls, QStringList{QStringLiteral("updatePollingPort(4321)")});
    EXPECT_EQ(log.linesStartingWith(selectedChanged).size(), 1);
}

// --- main action ---

TEST_F(AppDelegateTest, CustomAddressWithoutSchemeGetsHttpsAndHttpPrefixedTextIsKept)
{
    completeOnboarding(std::nullopt);
    launch();
    SettingsManager* settings = delegate->settingsManager;
    settings->setIsCustomURLActive(true);
    settings->setPreferredBrowser(Browser::chrome);

    const QList<std::pair<QString, QString>> forms = {
        {QStringLiteral("  staging.example.com/app \n"),
         QStringLiteral("https://staging.example.com/app")},
        {QStringLiteral("http://intranet:8080"), QStringLiteral("http://intranet:8080")},
        {QStringLiteral("https://example.com"), QStringLiteral("https://example.com")},
        // Begins with the four letters: used as it is, although no scheme follows.
        {QStringLiteral("httpbin.org/get"), QStringLiteral("httpbin.org/get")},
    };
    for (const auto& [typed, opened] : forms) {
        browser->calls.clear();
        settings->setCustomURL(typed);
        awaitTask(delegate->performMainAction());
        EXPECT_EQ(browser->calls,
                  (QStringList{QStringLiteral("findExistingWindow(%1, chrome)").arg(opened),
                               QStringLiteral("openIncognito(%1, chrome)").arg(opened)}))
            << typed.toStdString();
    }
    EXPECT_TRUE(presenter->shown.isEmpty());
}

TEST_F(AppDelegateTest, MainActionWithoutASelectedProjectShowsTheNotice)
{
    completeOnboarding(std::nullopt);
    launch();
    awaitTask(delegate->performMainAction());
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), AlertCoordinator::noProjectSelectedAlert());
    EXPECT_TRUE(browser->calls.isEmpty());
}

TEST_F(AppDelegateTest, StatusItemClickAndHotKeyRunTheMainActionOnTheNextTurn)
{
    {
        const auto settings = storedSettings();
        settings->setHotKeyCode(37);
        settings->setHotKeyModifiers(0x1800);
    }
    completeOnboarding(std::nullopt);
    listeningPorts = {4100};
    launch();
    fakeProjects->setSelectedProject(project(QStringLiteral("api"), 4100, QStringLiteral("/p/a")));

    ASSERT_NE(delegate->hotKeyManager->hotKey, nullptr);
    ASSERT_EQ(hotKeys->live.size(), 1);
    EXPECT_EQ(hotKeys->press(hotKeys->live.first().keyCombo), HotKeysController::noErr);
    EXPECT_TRUE(browser->calls.isEmpty());
    ASSERT_TRUE(waitUntil([&] { return browser->calls.size() == 2; }));
    EXPECT_EQ(browser->calls,
              (QStringList{QStringLiteral("findExistingWindow(http://localhost:4100, chrome)"),
                           QStringLiteral("openIncognito(http://localhost:4100, chrome)")}));

    browser->calls.clear();
    delegate->statusBarController->mainActionClicked();
    EXPECT_TRUE(browser->calls.isEmpty());
    ASSERT_TRUE(waitUntil([&] { return browser->calls.size() == 2; }));
}

TEST_F(AppDelegateTest, MainActionOnAStoppedServerAsksToStartItAndStartsIt)
{
    completeOnboarding(std::nullopt);
    launch();
    delegate->alerts()->serverStartPause = 10ms;
    const Project api = project(QStringLiteral("api"), 4100, QStringLiteral("/p/api"));
    fakeProjects->setSelectedProject(api);

    awaitTask(delegate->performMainAction());
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), AlertCoordinator::startServerAlert(api));
    ASSERT_TRUE(waitUntil([&] { return browser->calls.size() == 2; }));
    EXPECT_TRUE(server->calls.contains(QStringLiteral("startServer(api, npm run dev)")));
    EXPECT_EQ(browser->calls.last(),
              QStringLiteral("openIncognito(http://localhost:4100, chrome)"));
}

TEST_F(AppDelegateTest, APortLearnedFromTheStartedServerIsKeptAsTheProjectsPortAndOpened)
{
    completeOnboarding(std::nullopt);
    launch();
    delegate->alerts()->serverStartPause = 10ms;
    const Project api = project(QStringLiteral("api"), 4100, QStringLiteral("/p/api"));
    fakeProjects->setSelectedProject(api);
    server->learnedPort = 4567;

    awaitTask(delegate->performMainAction());
    ASSERT_TRUE(waitUntil([&] { return browser->calls.size() == 2; }));
    EXPECT_EQ(browser->calls.last(),
              QStringLiteral("openIncognito(http://localhost:4567, chrome)"));
    const QJsonObject stored =
        QJsonDocument::fromJson(storedSettings()->projectPorts().value_or(QByteArray())).object();
    EXPECT_EQ(stored, (QJsonObject{{QStringLiteral("/p/api"), 4567}}));
    EXPECT_EQ(delegate->projectOverrides->port(QStringLiteral("/p/api")), 4567);
}

TEST_F(AppDelegateTest, AStartedServerFoundOnAnotherPortIsOpenedThereWatchedThereAndKept)
{
    using namespace ServerTests;
    const ScopedTemporaryDirectory temporary;
    ProcessGroupReaper reaper;
    realServerManager = true;
    completeOnboarding(std::nullopt);
    launch();
    delegate->alerts()->serverStartPause = 10ms;
    QTemporaryDir folder;
    const int silent = TestSupport::freePort();
    const int other = TestSupport::freePort();
    Project site = project(QStringLiteral("site"), silent, folder.path());
    site.customCommand = QStringLiteral("python3 %1 --listen %2 --print http://localhost:%2/")
                             .arg(fixture(QStringLiteral("elsewhere_server.py")))
                             .arg(other);
    fakeProjects->setSelectedProject(site);

    awaitTask(delegate->performMainAction());
    ASSERT_EQ(presenter->shown.size(), 1);
    const bool opened = waitUntil([&] { return browser->calls.size() == 2; }, 60s);
    if (realServer->hasRunningProcess()) {
        reaper.add(realServer->runningProcessId());
    }
    ASSERT_TRUE(opened) << log.lines().join(QLatin1Char('\n')).toStdString();

    EXPECT_EQ(browser->calls.last(),
              QStringLiteral("openIncognito(http://localhost:%1, chrome)").arg(other));
    EXPECT_EQ(
        log.count(QStringLiteral("🔎 [ServerManager] Port %1 silent; server listens on %2, using it")
                      .arg(silent)
                      .arg(other)),
        1);
    EXPECT_EQ(realServer->currentPort(), other);
    EXPECT_TRUE(
        log.contains(QStringLiteral("🔍 [ServerManager] Polling port %1: RUNNING ✅").arg(other)));
    const QJsonObject stored =
        QJsonDocument::fromJson(storedSettings()->projectPorts().value_or(QByteArray())).object();
    EXPECT_EQ(stored, (QJsonObject{{QDir::cleanPath(folder.path()), other}}))
        << QJsonDocument(stored).toJson().toStdString();
}

// --- re-open ---

TEST_F(AppDelegateTest, ReopenReturnsFalseAndRunsTheMainAction)
{
    completeOnboarding(std::nullopt);
    listeningPorts = {4100};
    launch();
    fakeProjects->setSelectedProject(project(QStringLiteral("api"), 4100, QStringLiteral("/p/a")));

    EXPECT_FALSE(delegate->applicationShouldHandleReopen(false));
    EXPECT_FALSE(delegate->applicationShouldHandleReopen(true));
    ASSERT_TRUE(waitUntil([&] { return browser->calls.size() == 4; }));
    EXPECT_EQ(browser->calls.first(),
              QStringLiteral("findExistingWindow(http://localhost:4100, chrome)"));
    EXPECT_EQ(delegate->onboardingWindow(), nullptr);
}

TEST_F(AppDelegateTest, ReopenWithTheServerStoppedAsksWhetherToStartIt)
{
    completeOnboarding(std::nullopt);
    launch();
    presenter->defaultAnswer = 1; // Cancel
    const Project api = project(QStringLiteral("api"), 4100, QStringLiteral("/p/api"));
    fakeProjects->setSelectedProject(api);

    EXPECT_FALSE(delegate->applicationShouldHandleReopen(false));
    ASSERT_TRUE(waitUntil([&] { return presenter->shown.size() == 1; }));
    EXPECT_EQ(presenter->shown.first(), AlertCoordinator::startServerAlert(api));
    settle();
    EXPECT_TRUE(server->callsStartingWith(QStringLiteral("startServer")).isEmpty());
    EXPECT_TRUE(browser->calls.isEmpty());
}

// --- shut-down ---

TEST_F(AppDelegateTest, ShutDownInvalidatesPollingThenStopsPermissionsThenDropsTheShortcut)
{
    {
        const auto settings = storedSettings();
        settings->setHotKeyCode(37);
        settings->setHotKeyModifiers(0x1800);
    }
    completeOnboarding(std::nullopt);
    launch();
    ASSERT_EQ(hotKeys->live.size(), 1);

    QStringList steps;
    server->onInvalidate = [&] {
        steps.append(
            QStringLiteral("invalidate (permissions %1, shortcut %2)")
                .arg(delegate->permissionsManager->isShuttingDown() ? "stopped" : "polling")
                .arg(hotKeys->live.isEmpty() ? "gone" : "held"));
    };
    hotKeys->onUnregister = [&] {
        steps.append(
            QStringLiteral("unregister (permissions %1)")
                .arg(delegate->permissionsManager->isShuttingDown() ? "stopped" : "polling"));
    };
    delegate->applicationWillTerminate();

    EXPECT_EQ(steps, (QStringList{QStringLiteral("invalidate (permissions polling, shortcut held)"),
                                  QStringLiteral("unregister (permissions stopped)")}));
    EXPECT_EQ(delegate->hotKeyManager->hotKey, nullptr);
    EXPECT_TRUE(hotKeys->live.isEmpty());
    EXPECT_TRUE(delegate->permissionsManager->isShuttingDown());
    ASSERT_TRUE(waitUntil([&] {
        return !delegate->permissionsManager->automationTimer() &&
               !delegate->permissionsManager->accessibilityTimer();
    }));
}

TEST_F(AppDelegateTest, QuittingWhileAServerRunsStopsNoServer)
{
    completeOnboarding(std::nullopt);
    listeningPorts = {4100};
    launch();
    fakeProjects->setSelectedProject(project(QStringLiteral("api"), 4100, QStringLiteral("/p/a")));
    settle();
    server->calls.clear();

    delegate->statusBarController->quitClicked();
    EXPECT_EQ(quits, 1);
    delegate->applicationWillTerminate();
    settle();
    EXPECT_EQ(server->calls, QStringList{QStringLiteral("invalidatePollingTimer")});
    EXPECT_TRUE(server->listeningPorts.contains(4100));
}

// --- windows ---

TEST_F(AppDelegateTest, SettingsFromTheMenuOpenThePopoverAndReuseIt)
{
    completeOnboarding(std::nullopt);
    launch();
    EXPECT_EQ(delegate->settingsPopover(), nullptr);

    delegate->statusBarController->settingsClicked();
    SettingsPopover* first = delegate->settingsPopover();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isVisible());
    first->hide();

    delegate->showSettings();
    EXPECT_EQ(delegate->settingsPopover(), first);
    EXPECT_TRUE(first->isVisible());
    first->hide();
}

TEST_F(AppDelegateTest, BrowserNotFoundOffersTheSettings)
{
    completeOnboarding(std::nullopt);
    launch();
    delegate->showBrowserError(BrowserError::browserNotFound(Browser::firefox));
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first().buttons,
              (QStringList{QStringLiteral("Select Different Browser"), QStringLiteral("Cancel")}));
    ASSERT_NE(delegate->settingsPopover(), nullptr);
    EXPECT_TRUE(delegate->settingsPopover()->isVisible());
    delegate->settingsPopover()->hide();
}

// --- ownership ---

TEST_F(AppDelegateTest, CallbacksHoldTheDelegateWeakly)
{
    completeOnboarding(std::nullopt);
    launch();
    const std::function<void()> onMainAction = delegate->statusBarController->onMainActionRequested;
    const std::function<void()> onSettings = delegate->statusBarController->onSettingsRequested;
    delegate.reset();

    onMainAction();
    onSettings();
    settle();
    EXPECT_TRUE(presenter->shown.isEmpty());
}

TEST_F(AppDelegateTest, AMissingManagerStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    AppDelegateFactories broken = factories();
    broken.makeServerManager = []() -> std::unique_ptr<ServerManaging> {
        return nullptr;
    };
    EXPECT_DEATH(
        {
            AppDelegate doomed(broken);
            doomed.applicationDidFinishLaunching();
        },
        "AppDelegate: no server manager");
}

// --- per-project command and port ---

namespace {

// Every entry of the menu and its sub-menus, by text.
QStringList menuTexts(const QMenu* menu)
{
    QStringList texts;
    for (const QAction* action : menu->actions()) {
        texts.append(action->text());
        if (action->menu()) {
            texts += menuTexts(action->menu());
        }
    }
    return texts;
}

} // namespace

TEST_F(AppDelegateTest, StoredOverridesApplyToTheStartUpScan)
{
    realProjectManager = true;
    TestSupport::writeFile(projectsDir.path(), QStringLiteral("site/package.json"),
                           R"({"scripts": {"dev": "astro dev"}})");
    const QString site = QDir(projectsDir.path()).filePath(QStringLiteral("site"));
    completeOnboarding(projectsDir.path(), site);
    {
        const auto settings = storedSettings();
        ProjectOverrides(settings.get()).setPort(site, 4321);
    }
    launchAndScan();

    EXPECT_TRUE(log.contains(QStringLiteral("📦 [AppDelegate] Selected: site (port 4321)")));
    EXPECT_TRUE(server->calls.contains(QStringLiteral("startPolling(4321)")));
    EXPECT_EQ(delegate->projectManager->selectedProject()->portSource, PortSource::manual);
}

TEST_F(AppDelegateTest, EditingThePortAndCommandInTheSettingsReachesMenuPollingAndStart)
{
    realProjectManager = true;
    TestSupport::writeFile(projectsDir.path(), QStringLiteral("site/package.json"),
                           R"({"scripts": {"start": "eleventy --serve"}})");
    TestSupport::writeFile(projectsDir.path(), QStringLiteral("api/package.json"),
                           R"({"scripts": {"dev": "node server.js --port 4100"}})");
    const QString site = QDir(projectsDir.path()).filePath(QStringLiteral("site"));
    completeOnboarding(projectsDir.path(), site);
    launchAndScan();
    settle();
    ASSERT_TRUE(
        menuTexts(delegate->statusBarController->menu).contains(QStringLiteral("site :3000")));
    server->calls.clear();

    delegate->statusBarController->settingsClicked();
    auto* view = qobject_cast<SettingsView*>(delegate->settingsPopover()->content());
    ASSERT_NE(view, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(delegate->settingsPopover()));
    ProjectOverridesEditor* editor = view->overridesEditor();
    ASSERT_TRUE(editor->isVisible());
    EXPECT_EQ(editor->portField()->value(), 3000);
    EXPECT_EQ(editor->portSourceLabel()->text(), QStringLiteral("Default port"));

    KeyPresses::retype(editor->portField(), QStringLiteral("8080"));

    // Polling moves on a later turn, without a rescan.
    ASSERT_TRUE(waitUntil(
        [&] { return server->calls.contains(QStringLiteral("updatePollingPort(8080)")); }));
    EXPECT_TRUE(log.contains(selectedChanged + QStringLiteral("site (port 8080)")));
    const QStringList menu = menuTexts(delegate->statusBarController->menu);
    EXPECT_TRUE(menu.contains(QStringLiteral("site :8080"))) << menu.join(u'\n').toStdString();
    EXPECT_TRUE(menu.contains(QStringLiteral("api :4100")));
    EXPECT_EQ(view->projectPortLabel()->text(), QStringLiteral(":8080"));
    EXPECT_EQ(editor->portSourceLabel()->text(), QStringLiteral("Set by you"));
    EXPECT_EQ(QSettings(settingsPath(), QSettings::IniFormat).value("projectPorts").toByteArray(),
              QJsonDocument(QJsonObject{{site, 8080}}).toJson(QJsonDocument::Compact));

    // The next start runs the command typed in.
    KeyPresses::retype(editor->commandField(), QStringLiteral("npm run start"));
    EXPECT_EQ(delegate->projectManager->selectedProject()->effectiveCommand(),
              QStringLiteral("npm run start"));
    delegate->alerts()->serverStartPause = 10ms;
    delegate->settingsPopover()->hide();
    awaitTask(delegate->performMainAction());
    ASSERT_TRUE(waitUntil([&] { return browser->calls.size() == 2; }));
    EXPECT_TRUE(server->calls.contains(QStringLiteral("startServer(site, npm run start)")));
    EXPECT_EQ(browser->calls.last(),
              QStringLiteral("openIncognito(http://localhost:8080, chrome)"));

    // Reset: back to the scan's port, polled again.
    server->calls.clear();
    delegate->showSettings();
    view = qobject_cast<SettingsView*>(delegate->settingsPopover()->content());
    ASSERT_TRUE(view->overridesEditor()->portResetButton()->isVisible());
    QTest::mouseClick(view->overridesEditor()->portResetButton(), Qt::LeftButton);
    ASSERT_TRUE(waitUntil(
        [&] { return server->calls.contains(QStringLiteral("updatePollingPort(3000)")); }));
    EXPECT_TRUE(
        menuTexts(delegate->statusBarController->menu).contains(QStringLiteral("site :3000")));
    EXPECT_FALSE(QSettings(settingsPath(), QSettings::IniFormat).contains("projectPorts"));
    delegate->settingsPopover()->hide();
}
