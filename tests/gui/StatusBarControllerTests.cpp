#include "Controllers/StatusBarController.h"

#include "Controllers/ProjectSwitcher.h"
#include "Controllers/StatusIconRenderer.h"
#include "Controllers/StatusMenuRenderer.h"
#include "Managers/HotKeyManager.h"
#include "Utilities/Theme.h"
#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeHotKeyBackend.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/ManualScheduler.h"
#include "support/LogCapture.h"
#include "support/MenuSnapshot.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QAction>
#include <QApplication>
#include <QHelpEvent>
#include <QMenu>
#include <QTemporaryDir>
#include <QToolTip>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class StatusBarControllerTest : public ::testing::Test
{
protected:
    StatusBarControllerTest() { QApplication::setPalette(lightPalette()); }

    ~StatusBarControllerTest() override
    {
        if (controller && controller->menu) {
            controller->menu->hide();
        }
    }

    static QPalette lightPalette()
    {
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(236, 236, 236));
        palette.setColor(QPalette::WindowText, Qt::black);
        return palette;
    }

    static QPalette darkPalette()
    {
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(30, 30, 30));
        palette.setColor(QPalette::WindowText, Qt::white);
        return palette;
    }

    StatusBarController& make()
    {
        StatusBarEnvironment environment;
        environment.clock = clock.function();
        environment.scheduler = scheduler;
        environment.switchCheckInterval = 10ms;
        environment.quit = [this] {
            ++quits;
        };
        controller = std::make_unique<StatusBarController>(
            settings.get(), &serverManager, &projectManager, &browserManager, nullptr,
            hotKeyManager, [this] { ++settingsRequests; }, [this] { ++mainActions; }, environment);
        return *controller;
    }

    QMenu* menu() const { return controller->menu; }

    // A top-level or submenu action by its text.
    QAction* action(const QString& text, const QMenu* in = nullptr) const
    {
        const QMenu* where = in ? in : controller->menu;
        const QList<QAction*> actions = where->actions();
        for (QAction* candidate : actions) {
            if (candidate->text() == text) {
                return candidate;
            }
            if (QMenu* submenu = candidate->menu<QMenu*>()) {
                if (QAction* found = action(text, submenu)) {
                    return found;
                }
            }
        }
        return nullptr;
    }

    QColor dotColor() const
    {
        return controller->iconImage().pixelColor(19 * ratio(), 3 * ratio());
    }
    qreal ratio() const { return controller->iconImage().devicePixelRatio(); }

    // Colour of the glyph's opaque pixels; invalid when there are none or they differ.
    QColor glyphColor() const
    {
        const QImage& image = controller->iconImage();
        QColor found;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < qRound(16 * ratio()); ++x) {
                const QColor color = image.pixelColor(x, y);
                if (color.alpha() != 255) {
                    continue;
                }
                if (found.isValid() && found != color) {
                    return QColor();
                }
                found = color;
            }
        }
        return found;
    }

    void selectWeb()
    {
        projectManager.setProjects({web, api});
        projectManager.setSelectedProject(web);
    }

    // Ctrl+Alt+L stored, and the desktop giving `answer` when it is asked for.
    void storeCtrlAltLAnswered(HotKeyRegistration answer)
    {
        FakeHotKeyBackend::install()->refusedCombos = {{KeyCombo(37, 0x1800), answer}};
        settings->setHotKeyCode(37);
        settings->setHotKeyModifiers(0x1800);
    }

    TestSettings settings;
    FakeServerManager serverManager;
    FakeProjectManager projectManager;
    FakeBrowserManager browserManager;
    ManualClock clock;
    std::shared_ptr<ManualScheduler> scheduler = std::make_shared<ManualScheduler>(clock);
    std::unique_ptr<StatusBarController> controller;
    // The shortcut's owner handed to the controller; none unless a test makes one.
    HotKeyManager* hotKeyManager = nullptr;
    LogCapture log;
    int mainActions = 0;
    int settingsRequests = 0;
    int quits = 0;

    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    const Project api = TestProjects::make(QStringLiteral("api"), 4000, QStringLiteral("/p/api"));
};

} // namespace

TEST_F(StatusBarControllerTest, CreationDrawsTheIconSetsTheTooltipAndBuildsTheMenu)
{
    StatusBarController& status = make();
    ASSERT_NE(status.statusItem, nullptr);
    EXPECT_EQ(status.statusItem->toolTip(),
              QStringLiteral("wisp - Click to open browser, double-click for menu"));
    EXPECT_FALSE(status.statusItem->icon().isNull());
    EXPECT_EQ(status.iconImage().deviceIndependentSize(), QSizeF(22, 18));
    EXPECT_EQ(dotColor(), Theme::stopped());
    ASSERT_NE(status.menu, nullptr);
    EXPECT_EQ(status.menu->actions().first()->text(), QStringLiteral("No project selected"));
    EXPECT_EQ(status.statusItem->contextMenu(), nullptr);

    EXPECT_FALSE(status.clicks().lastClickTime.has_value());
    EXPECT_DOUBLE_EQ(status.clicks().doubleClickInterval, 0.5);
    EXPECT_EQ(status.clicks().pendingAction, nullptr);
    EXPECT_FALSE(status.switcher().currentSwitchTask.has_value());
    EXPECT_FALSE(status.cancellables.isEmpty());
}

TEST_F(StatusBarControllerTest, TwoClicksThreeTenthsApartOpenTheMenuAndRunNoMainAction)
{
    StatusBarController& status = make();
    status.handleClick(QSystemTrayIcon::Trigger);
    scheduler->advance(300ms);
    status.handleClick(QSystemTrayIcon::DoubleClick);
    EXPECT_TRUE(menu()->isVisible());
    scheduler->advance(2s);
    EXPECT_EQ(mainActions, 0);
    // Popped up, never attached.
    EXPECT_EQ(status.statusItem->contextMenu(), nullptr);
}

TEST_F(StatusBarControllerTest, TwoClicksSixTenthsApartRunTheMainActionOnceAndScheduleItAgain)
{
    StatusBarController& status = make();
    status.handleClick(QSystemTrayIcon::Trigger);
    scheduler->advance(500ms);
    EXPECT_EQ(mainActions, 1);
    scheduler->advance(100ms);
    status.handleClick(QSystemTrayIcon::Trigger);
    EXPECT_EQ(mainActions, 1);
    EXPECT_EQ(scheduler->scheduledCount, 2);
    EXPECT_FALSE(menu()->isVisible());
    scheduler->advance(500ms);
    EXPECT_EQ(mainActions, 2);
}

TEST_F(StatusBarControllerTest, RightClickOpensTheMenuAtOnceAndLeavesThePendingClickPending)
{
    StatusBarController& status = make();
    status.handleClick(QSystemTrayIcon::Trigger);
    status.handleClick(QSystemTrayIcon::Context);
    EXPECT_TRUE(menu()->isVisible());
    EXPECT_EQ(mainActions, 0);
    EXPECT_EQ(scheduler->pendingCount(), 1);
    scheduler->advance(500ms);
    EXPECT_EQ(mainActions, 1);
}

TEST_F(StatusBarControllerTest, ActivationWithoutAKnownButtonOpensTheMenu)
{
    StatusBarController& status = make();
    status.handleClick(QSystemTrayIcon::Unknown);
    EXPECT_TRUE(menu()->isVisible());
}

TEST_F(StatusBarControllerTest, SingleClickWithTheRealTimerRunsTheMainAction)
{
    controller = std::make_unique<StatusBarController>(
        settings.get(), &serverManager, &projectManager, &browserManager, nullptr, nullptr,
        [this] { ++settingsRequests; }, [this] { ++mainActions; });
    controller->statusItem->activated(QSystemTrayIcon::Trigger);
    EXPECT_EQ(mainActions, 0);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return mainActions == 1; }));
    EXPECT_FALSE(menu()->isVisible());
}

TEST_F(StatusBarControllerTest, WhileTheMenuIsClosedTheTrayIconHasNoMenu)
{
    StatusBarController& status = make();
    EXPECT_EQ(status.statusItem->contextMenu(), nullptr);
    status.showMenu();
    EXPECT_TRUE(menu()->isVisible());
    EXPECT_EQ(status.statusItem->contextMenu(), nullptr);
    menu()->hide();
    EXPECT_EQ(status.statusItem->contextMenu(), nullptr);
    // And a click after the menu closed reaches the click handler again.
    status.statusItem->activated(QSystemTrayIcon::Trigger);
    scheduler->advance(500ms);
    EXPECT_EQ(mainActions, 1);
}

TEST_F(StatusBarControllerTest, ShowingTheMenuRebuildsIt)
{
    StatusBarController& status = make();
    projectManager.blockSignals(true);
    projectManager.setProjects({web});
    projectManager.setSelectedProject(web);
    projectManager.blockSignals(false);
    EXPECT_EQ(menu()->actions().first()->text(), QStringLiteral("No project selected"));
    status.showMenu();
    EXPECT_EQ(menu()->actions().first()->text(), QStringLiteral("Find localhost:3000"));
}

TEST_F(StatusBarControllerTest, ServerStateChangesRecolourTheIconWithoutAClick)
{
    StatusBarController& status = make();
    const qint64 firstIcon = status.statusItem->icon().cacheKey();
    serverManager.setStatus(ServerStatus::running);
    EXPECT_EQ(dotColor(), QColor(48, 209, 88));
    EXPECT_NE(status.statusItem->icon().cacheKey(), firstIcon);
    serverManager.setStatus(ServerStatus::starting);
    EXPECT_EQ(dotColor(), QColor(255, 159, 10));
    serverManager.setStatus(ServerStatus::stopped);
    EXPECT_EQ(dotColor(), QColor(142, 142, 147));
    EXPECT_EQ(status.currentStatusColor(), Theme::stopped());
    EXPECT_EQ(mainActions, 0);
    EXPECT_FALSE(menu()->isVisible());
}

TEST_F(StatusBarControllerTest, RepeatedStatusLeavesTheTrayIconAloneAndAKnownStatusReusesItsIcon)
{
    // Polling publishes the status every tick; an icon set anew each time grows the process.
    StatusBarController& status = make();
    serverManager.setStatus(ServerStatus::running);
    const qint64 runningIcon = status.statusItem->icon().cacheKey();
    for (int poll = 0; poll < 3; ++poll) {
        serverManager.setStatus(ServerStatus::running);
    }
    EXPECT_EQ(status.statusItem->icon().cacheKey(), runningIcon);
    EXPECT_EQ(dotColor(), QColor(48, 209, 88));
    serverManager.setStatus(ServerStatus::stopped);
    EXPECT_NE(status.statusItem->icon().cacheKey(), runningIcon);
    EXPECT_EQ(dotColor(), QColor(142, 142, 147));
    // A status shown before gets its icon back, not a new one.
    serverManager.setStatus(ServerStatus::running);
    EXPECT_EQ(status.statusItem->icon().cacheKey(), runningIcon);
    EXPECT_EQ(dotColor(), QColor(48, 209, 88));
}

TEST_F(StatusBarControllerTest, AppearanceChangeRedrawsTheGlyph)
{
    make();
    EXPECT_EQ(glyphColor(), QColor(Qt::black));
    QApplication::setPalette(darkPalette());
    EXPECT_EQ(glyphColor(), QColor(Qt::white));
    QApplication::setPalette(lightPalette());
    EXPECT_EQ(glyphColor(), QColor(Qt::black));

    // The user's own choice wins over the system's.
    settings->setAppearanceDark(true);
    EXPECT_EQ(glyphColor(), QColor(Qt::white));
    settings->setAppearanceDark(std::nullopt);
    EXPECT_EQ(glyphColor(), QColor(Qt::black));
}

TEST_F(StatusBarControllerTest, StateChangesUpdateTheServerItemInPlace)
{
    selectWeb();
    StatusBarController& status = make();
    QAction* server = StatusMenuRenderer::itemWithTag(menu(), 200);
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(server->text(), QStringLiteral("▶  Start web"));

    serverManager.setStatus(ServerStatus::starting);
    EXPECT_EQ(StatusMenuRenderer::itemWithTag(menu(), 200), server);
    EXPECT_EQ(server->text(), QStringLiteral("⏳  Starting..."));
    EXPECT_FALSE(server->isEnabled());

    serverManager.setStatus(ServerStatus::running);
    EXPECT_EQ(server->text(), QStringLiteral("↻  Restart web"));
    EXPECT_TRUE(server->isEnabled());
    EXPECT_EQ(StatusMenuRenderer::action(server), StatusMenuItem::Action::startServerClicked);

    projectManager.blockSignals(true);
    projectManager.setSelectedProject(std::nullopt);
    projectManager.blockSignals(false);
    status.updateServerMenuItem();
    EXPECT_EQ(server->text(), QStringLiteral("▶  Run Server"));
    EXPECT_FALSE(server->isEnabled());
    EXPECT_EQ(StatusMenuRenderer::action(server), StatusMenuItem::Action::none);
}

TEST_F(StatusBarControllerTest, StartingServerItemCannotBeChosen)
{
    selectWeb();
    serverManager.currentStatus = ServerStatus::starting;
    make();
    QAction* server = StatusMenuRenderer::itemWithTag(menu(), 200);
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(server->text(), QStringLiteral("⏳  Starting..."));
    EXPECT_FALSE(server->isEnabled());
    server->trigger();
    EXPECT_TRUE(serverManager.calls.isEmpty());
}

TEST_F(StatusBarControllerTest, ProjectListAndSelectionChangesRebuildTheMenu)
{
    make();
    projectManager.setProjects({web, api});
    EXPECT_NE(action(QStringLiteral("web :3000")), nullptr);
    EXPECT_FALSE(action(QStringLiteral("web :3000"))->isChecked());
    projectManager.setSelectedProject(web);
    EXPECT_TRUE(action(QStringLiteral("web :3000"))->isChecked());
    EXPECT_EQ(menu()->actions().first()->text(), QStringLiteral("Find localhost:3000"));
}

TEST_F(StatusBarControllerTest, BuiltMenuWithoutProjects)
{
    make();
    const QStringList expected = {
        QStringLiteral("No project selected | action=settingsClicked"),
        QStringLiteral("---"),
        QStringLiteral("No projects found | action=settingsClicked"),
        QStringLiteral("---"),
        QStringLiteral("▶  Run Server | disabled | tag=200 | action=none"),
        QStringLiteral("Server Output | action=serverOutputClicked"),
        QStringLiteral("---"),
        QStringLiteral("Settings... | keys=Ctrl+, | action=settingsClicked"),
        QStringLiteral("Quit | keys=Ctrl+Q | action=quitClicked"),
    };
    EXPECT_EQ(menuSnapshot(menu()), expected);
}

TEST_F(StatusBarControllerTest, BuiltMenuWithGroupedProjectsAndTheShortcut)
{
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    settings->setCustomURL(QStringLiteral("staging.example.com/a&b"));
    const Project admin =
        TestProjects::make(QStringLiteral("admin"), 3001, QStringLiteral("/p/mono/admin"));
    const Project mono =
        TestProjects::make(QStringLiteral("mono"), 3000, QStringLiteral("/p/mono"), {admin});
    projectManager.setProjects({api, mono});
    projectManager.setSelectedProject(admin);
    serverManager.currentStatus = ServerStatus::running;
    make();

    const QStringList expected = {
        QStringLiteral(
            "Find localhost:3001 | keys=Ctrl+Alt+L | shown=Ctrl+Alt+L | action=mainActionClicked"),
        QStringLiteral("---"),
        QStringLiteral("Projects"),
        QStringLiteral("  staging.example.com/a&&b | action=customURLClicked"),
        QStringLiteral("  ---"),
        QStringLiteral("  api :4000 | action=projectSelected"),
        QStringLiteral("  mono"),
        QStringLiteral("    admin :3001 | on | action=projectSelected"),
        QStringLiteral("  ---"),
        QStringLiteral("  ↻  Rescan Folder | action=rescanProjects"),
        QStringLiteral("---"),
        QStringLiteral("↻  Restart admin | tag=200 | action=startServerClicked"),
        QStringLiteral("Server Output | action=serverOutputClicked"),
        QStringLiteral("---"),
        QStringLiteral("Settings... | keys=Ctrl+, | action=settingsClicked"),
        QStringLiteral("Quit | keys=Ctrl+Q | action=quitClicked"),
    };
    EXPECT_EQ(menuSnapshot(menu()), expected);

    QAction* adminItem = action(QStringLiteral("admin :3001"));
    ASSERT_NE(adminItem, nullptr);
    EXPECT_EQ(adminItem->toolTip(), QStringLiteral("/p/mono/admin"));
    EXPECT_EQ(StatusMenuRenderer::representedProject(adminItem), admin);
    EXPECT_EQ(StatusMenuRenderer::tag(adminItem), 0);
    QAction* parent = action(QStringLiteral("mono"));
    ASSERT_NE(parent, nullptr);
    EXPECT_FALSE(StatusMenuRenderer::representedProject(parent).has_value());
    EXPECT_NE(parent->menu<QMenu*>(), nullptr);
    EXPECT_EQ(controller->hotkeyKeyEquivalent(), QStringLiteral("l"));
    EXPECT_EQ(controller->hotkeyModifierMask(), 0xC0000u);
}

TEST_F(StatusBarControllerTest, MainItemHasNoShortcutWhenTheKeyHasNoText)
{
    settings->setHotKeyCode(122); // F1
    settings->setHotKeyModifiers(0x1800);
    selectWeb();
    make();
    EXPECT_TRUE(menu()->actions().first()->shortcut().isEmpty());
    EXPECT_EQ(controller->hotkeyModifierMask(), 0xC0000u);
    EXPECT_TRUE(controller->hotkeyKeyEquivalent().isEmpty());
}

TEST_F(StatusBarControllerTest, MainItemShowsTheShortcutOnlyWhileItIsRegistered)
{
    storeCtrlAltLAnswered(HotKeyRegistration::taken);
    HotKeyManager manager(settings.get());
    hotKeyManager = &manager;
    selectWeb();
    make();

    QAction* main = menu()->actions().first();
    EXPECT_EQ(menuSnapshot(menu()).first(),
              QStringLiteral("Find localhost:3000 | action=mainActionClicked"));
    EXPECT_TRUE(main->shortcut().isEmpty());
    EXPECT_EQ(main->toolTip(),
              QStringLiteral("Ctrl+Alt+L is taken by another app. Choose another shortcut."));
    // Hovering the item shows the line.
    menu()->popup(QPoint(100, 100));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return menu()->isVisible(); }));
    const QPoint itemCentre = menu()->actionGeometry(main).center();
    QHelpEvent hover(QEvent::ToolTip, itemCentre, menu()->mapToGlobal(itemCentre));
    QApplication::sendEvent(menu(), &hover);
    EXPECT_EQ(QToolTip::text(),
              QStringLiteral("Ctrl+Alt+L is taken by another app. Choose another shortcut."));
    QToolTip::hideText();
    menu()->hide();
    EXPECT_TRUE(controller->hotkeyKeyEquivalent().isEmpty());

    // Another combination registers, and the menu follows at once.
    settings->setHotKeyCode(40);
    manager.registerHotKey();
    ASSERT_TRUE(manager.isRegistered());
    main = menu()->actions().first();
    EXPECT_EQ(menuSnapshot(menu()).first(),
              QStringLiteral("Find localhost:3000 | keys=Ctrl+Alt+K | shown=Ctrl+Alt+K | "
                             "action=mainActionClicked"));
    // No problem line any more (without a tooltip of its own an action shows its text).
    EXPECT_FALSE(main->toolTip().contains(QStringLiteral("taken")));
    EXPECT_EQ(controller->hotkeyKeyEquivalent(), QStringLiteral("k"));
    controller.reset();
}

TEST_F(StatusBarControllerTest, MainItemSaysTheDesktopHasNotAnsweredWhileTheShortcutWaits)
{
    storeCtrlAltLAnswered(HotKeyRegistration::waiting);
    HotKeyManager manager(settings.get());
    hotKeyManager = &manager;
    selectWeb();
    make();

    // Not advertised before the desktop allows it, and not called a failure either.
    QAction* main = menu()->actions().first();
    EXPECT_TRUE(main->shortcut().isEmpty());
    EXPECT_EQ(main->toolTip(), QStringLiteral("Waiting for the desktop to allow Ctrl+Alt+L"));

    std::uint32_t id = 0;
    for (const auto& [candidate, box] : HotKeysController::hotKeys) {
        if (box.identifier == manager.hotKey->identifier) {
            id = candidate;
        }
    }
    HotKeysController::reportRegistration(id, HotKeyRegistration::registered);
    main = menu()->actions().first();
    EXPECT_EQ(menuSnapshot(menu()).first(),
              QStringLiteral("Find localhost:3000 | keys=Ctrl+Alt+L | shown=Ctrl+Alt+L | "
                             "action=mainActionClicked"));
    EXPECT_FALSE(main->toolTip().contains(QStringLiteral("Waiting")));
    controller.reset();
}

TEST_F(StatusBarControllerTest, MainItemRunsTheMainAction)
{
    selectWeb();
    make();
    menu()->actions().first()->trigger();
    EXPECT_EQ(mainActions, 1);
    EXPECT_EQ(settingsRequests, 0);
}

TEST_F(StatusBarControllerTest, NoProjectItemsOpenTheSettings)
{
    make();
    action(QStringLiteral("No project selected"))->trigger();
    action(QStringLiteral("No projects found"))->trigger();
    action(QStringLiteral("Settings..."))->trigger();
    EXPECT_EQ(settingsRequests, 3);
    EXPECT_EQ(mainActions, 0);
}

TEST_F(StatusBarControllerTest, QuitAsksTheApplicationToTerminate)
{
    make();
    action(QStringLiteral("Quit"))->trigger();
    EXPECT_EQ(quits, 1);
}

TEST_F(StatusBarControllerTest, CustomAddressItemActivatesItAndOpensAPrivateWindow)
{
    settings->setCustomURL(QStringLiteral("  staging.example.com\n"));
    settings->setPreferredBrowser(Browser::firefox);
    make();
    action(QStringLiteral("  staging.example.com\n"))->trigger();
    EXPECT_TRUE(settings->isCustomURLActive());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !browserManager.calls.isEmpty(); }));
    EXPECT_EQ(browserManager.calls,
              QStringList{QStringLiteral("openIncognito(https://staging.example.com, firefox)")});
}

TEST_F(StatusBarControllerTest, CustomAddressFailureIsLoggedOnly)
{
    settings->setCustomURL(QStringLiteral("http://staging.example.com"));
    browserManager.openError = BrowserError::permissionDenied(Browser::chrome);
    make();
    action(QStringLiteral("http://staging.example.com"))->trigger();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !log.lines().isEmpty(); }));
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⚠️ [StatusBarController] Failed to open custom URL: "
                                         "Permission denied to control Chrome")});
}

TEST_F(StatusBarControllerTest, ChoosingAProjectItemSwitchesToIt)
{
    selectWeb();
    serverManager.listeningPorts = {4000};
    make();
    action(QStringLiteral("api :4000"))->trigger();
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        return controller->switcher().currentSwitchTask &&
               controller->switcher().currentSwitchTask->isFinished();
    }));
    EXPECT_EQ(projectManager.selectedProject(), api);
    EXPECT_EQ(serverManager.calls.first(), QStringLiteral("killServer(3000)"));
    EXPECT_TRUE(log.contains(QStringLiteral("✅ [StatusBarController] Project switch complete")));
    // The menu followed the selection.
    EXPECT_TRUE(action(QStringLiteral("api :4000"))->isChecked());
    EXPECT_EQ(menu()->actions().first()->text(), QStringLiteral("Find localhost:4000"));
}

TEST_F(StatusBarControllerTest, ChoosingTheSelectedProjectOnlyLeavesCustomAddressMode)
{
    selectWeb();
    settings->setCustomURL(QStringLiteral("staging.example.com"));
    settings->setIsCustomURLActive(true);
    make();
    EXPECT_TRUE(
        action(QStringLiteral("staging.example.com"), menu()->actions().at(2)->menu<QMenu*>())
            ->isChecked());

    action(QStringLiteral("web :3000"))->trigger();
    EXPECT_FALSE(settings->isCustomURLActive());
    EXPECT_FALSE(controller->switcher().currentSwitchTask.has_value());
    QAction* custom =
        action(QStringLiteral("staging.example.com"), menu()->actions().at(2)->menu<QMenu*>());
    ASSERT_NE(custom, nullptr);
    EXPECT_FALSE(custom->isChecked());
    TestSupport::waitUntil([] { return false; }, 200ms);
    EXPECT_TRUE(serverManager.calls.isEmpty());
}

TEST_F(StatusBarControllerTest, ItemWithoutAProjectSelectsNothing)
{
    make();
    QAction stray;
    controller->projectSelected(&stray);
    controller->projectSelected(nullptr);
    EXPECT_FALSE(controller->switcher().currentSwitchTask.has_value());
}

TEST_F(StatusBarControllerTest, RescanScansTheStoredFolder)
{
    QTemporaryDir folder;
    settings->setCustomURL(QStringLiteral("staging.example.com"));
    make();
    action(QStringLiteral("↻  Rescan Folder"))->trigger();
    TestSupport::waitUntil([] { return false; }, 100ms);
    EXPECT_TRUE(projectManager.scannedFolders.isEmpty());

    settings->setProjectsFolder(QUrl::fromLocalFile(folder.path()));
    projectManager.scanResult = QList<Project>{web};
    action(QStringLiteral("↻  Rescan Folder"))->trigger();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !projectManager.scannedFolders.isEmpty(); }));
    EXPECT_EQ(projectManager.scannedFolders.first().toLocalFile(), folder.path());
    // The menu follows the published list.
    EXPECT_NE(action(QStringLiteral("web :3000")), nullptr);
}

TEST_F(StatusBarControllerTest, RescanAsksTheLoginShellAgain)
{
    QTemporaryDir folder;
    // With a custom address and no projects yet, as in the test above.
    settings->setCustomURL(QStringLiteral("staging.example.com"));
    make();
    settings->setProjectsFolder(QUrl::fromLocalFile(folder.path()));
    projectManager.scanResult = QList<Project>{web};
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("refreshEnvironment")).isEmpty());
    ASSERT_NE(action(QStringLiteral("↻  Rescan Folder")), nullptr);

    action(QStringLiteral("↻  Rescan Folder"))->trigger();

    ASSERT_TRUE(TestSupport::waitUntil([&] { return !projectManager.scannedFolders.isEmpty(); }));
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("refreshEnvironment")),
              QStringList{QStringLiteral("refreshEnvironment")});
}

TEST_F(StatusBarControllerTest, ServerItemStartsTheSelectedProjectSilently)
{
    selectWeb();
    serverManager.startFailure = QStringLiteral("No start command");
    make();
    StatusMenuRenderer::itemWithTag(menu(), 200)->trigger();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !serverManager.calls.isEmpty(); }));
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("startServer(web, npm run dev)")});
    TestSupport::waitUntil([] { return false; }, 100ms);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(StatusBarControllerTest, MenuRebuildDuringItsOwnActionIsSafe)
{
    selectWeb();
    serverManager.listeningPorts = {4000};
    make();
    QAction* item = action(QStringLiteral("api :4000"));
    item->trigger();
    // The switch selects api and the menu is rebuilt from scratch while the old item lives on
    // until the event loop deletes it.
    ASSERT_TRUE(TestSupport::waitUntil([&] { return projectManager.selectedProject() == api; }));
    EXPECT_FALSE(menu()->actions().contains(item));
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] { return controller->switcher().currentSwitchTask->isFinished(); }));
}

TEST(StatusMenuPositionTest, MenuHangsBelowTheIconOrAboveItAtTheBottomOfTheScreen)
{
    const QRect screen(0, 0, 1920, 1080);
    const QSize menuSize(200, 300);
    EXPECT_EQ(StatusBarController::menuPosition(QRect(1800, 0, 22, 24), menuSize, screen, QPoint()),
              QPoint(1800, 24));
    EXPECT_EQ(
        StatusBarController::menuPosition(QRect(1800, 1056, 22, 24), menuSize, screen, QPoint()),
        QPoint(1800, 756));
    EXPECT_EQ(StatusBarController::menuPosition(QRect(), menuSize, screen, QPoint(40, 50)),
              QPoint(40, 50));
}
