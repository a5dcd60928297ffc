#include "App/AlertCoordinator.h"
#include "Controllers/ProjectSwitcher.h"

#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// The start (and install) after the "Server is not running" question takes its turn at the
// server manager with the project switches: never alongside a switch's kill or start.
using namespace std::chrono_literals;
using TestSupport::waitUntil;

namespace {

QCoro::Task<> recordOpening(QStringList* opened, QString url)
{
    opened->append(url);
    co_return;
}

class AlertCoordinatorTurnTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folderA.isValid());
        ASSERT_TRUE(folderB.isValid());
        // Both are Node projects with their dependencies installed: "Start Server" is the
        // question's first answer.
        TestSupport::makeDir(folderA.path(), QStringLiteral("node_modules"));
        TestSupport::makeDir(folderB.path(), QStringLiteral("node_modules"));
        a = TestProjects::make(QStringLiteral("A"), 3000, folderA.path());
        b = TestProjects::make(QStringLiteral("B"), 3001, folderB.path());
        projectManager.setProjects({a, b});
        projectManager.setSelectedProject(a);

        switcher.checkInterval = 10ms;
        QObject::connect(&switcher, &ProjectSwitcher::switchEnded, [this] { ++switchesEnded; });

        alerts.serverStartPause = 10ms;
        alerts.openBrowserWindow = [this](QString url) {
            return recordOpening(&opened, url);
        };
        alerts.takeServerTurn = [this] {
            return switcher.takeServerTurn();
        };
        QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded,
                         [this] { flowEnded = true; });
    }

    QStringList serverOperations() const
    {
        QStringList operations;
        for (const QString& call : serverManager.calls) {
            if (call.startsWith(QStringLiteral("killServer")) ||
                call.startsWith(QStringLiteral("startServer")) ||
                call.startsWith(QStringLiteral("installDependencies"))) {
                operations.append(call);
            }
        }
        return operations;
    }

    QTemporaryDir folderA;
    QTemporaryDir folderB;
    Project a;
    Project b;
    LogCapture log;
    TestSettings settings;
    FakeServerManager serverManager;
    FakeProjectManager projectManager;
    FakeBrowserManager browserManager;
    ProjectSwitcher switcher{settings.get(), &serverManager, &projectManager, &browserManager};
    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    AlertCoordinator alerts{&serverManager, presenter};
    QStringList opened;
    bool flowEnded = false;
    int switchesEnded = 0;
};

} // namespace

TEST_F(AlertCoordinatorTurnTest, StartServerWaitsForTheStartOfASwitchUnderWay)
{
    // B's switch is held in its server start.
    Gate startGate;
    serverManager.startGate = &startGate;
    serverManager.onStarted = [this](const Project& project) {
        serverManager.listeningPorts.insert(project.port);
    };
    switcher.projectSelected(b);
    ASSERT_TRUE(waitUntil([&] { return startGate.waiting == 1; }));

    presenter->answers = {0};
    alerts.showStartServerAlert(b);
    // The question's start waits for the switch's.
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("startServer")),
              QStringList{QStringLiteral("startServer(B, npm run dev)")});
    EXPECT_EQ(startGate.waiting, 1);

    startGate.open();
    ASSERT_TRUE(waitUntil([&] { return flowEnded && switchesEnded == 1; }));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    EXPECT_EQ(serverOperations(), (QStringList{QStringLiteral("killServer(3000)"),
                                               QStringLiteral("killServer(3000) done"),
                                               QStringLiteral("startServer(B, npm run dev)"),
                                               QStringLiteral("startServer(B, npm run dev)")}));
    // Both went on as they do alone.
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:3001")});
    EXPECT_TRUE(log.contains(QStringLiteral("✅ [StatusBarController] Project switch complete")));
    EXPECT_EQ(presenter->shown.size(), 1);
}

TEST_F(AlertCoordinatorTurnTest, InstallAndStartWaitForTheKillOfASwitchUnderWay)
{
    QDir(folderB.filePath(QStringLiteral("node_modules"))).removeRecursively();
    TestSupport::writeFile(folderB.path(), QStringLiteral("package.json"),
                           R"({"name": "b", "dependencies": {"vite": "^5.0.0"}})");
    ASSERT_TRUE(AlertCoordinator::dependenciesMissing(b));
    // The switch to B is held in the kill of A's port.
    Gate killGate;
    serverManager.killGate = &killGate;
    serverManager.listeningPorts = {3001};
    switcher.projectSelected(b);
    ASSERT_TRUE(waitUntil([&] { return killGate.waiting == 1; }));

    // "Install and Start".
    presenter->answers = {0};
    alerts.showStartServerAlert(b);
    EXPECT_EQ(serverOperations(), QStringList{QStringLiteral("killServer(3000)")});

    killGate.open();
    ASSERT_TRUE(waitUntil([&] { return flowEnded && switchesEnded == 1; }));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    // The switch had asked first: its start, then the install and the start after it.
    EXPECT_EQ(serverOperations(), (QStringList{QStringLiteral("killServer(3000)"),
                                               QStringLiteral("killServer(3000) done"),
                                               QStringLiteral("startServer(B, npm run dev)"),
                                               QStringLiteral("installDependencies(B)"),
                                               QStringLiteral("startServer(B, npm run dev)")}));
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:3001")});
}

TEST_F(AlertCoordinatorTurnTest, ASwitchChosenDuringTheQuestionsStartWaitsForIt)
{
    Gate startGate;
    serverManager.startGate = &startGate;
    serverManager.listeningPorts = {3000, 3001};
    presenter->answers = {0};
    alerts.showStartServerAlert(a);
    ASSERT_TRUE(waitUntil([&] { return startGate.waiting == 1; }));

    switcher.projectSelected(b);
    ASSERT_TRUE(waitUntil([&] {
        return log.contains(QStringLiteral("🔄 [StatusBarController] Switching to project: B "
                                           "(port 3001)"));
    }));
    // The switch's kill waits until the question's start has ended.
    EXPECT_EQ(serverOperations(), QStringList{QStringLiteral("startServer(A, npm run dev)")});

    startGate.open();
    ASSERT_TRUE(waitUntil([&] { return flowEnded && switchesEnded == 1; }));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    EXPECT_EQ(serverOperations(), (QStringList{QStringLiteral("startServer(A, npm run dev)"),
                                               QStringLiteral("killServer(3000)"),
                                               QStringLiteral("killServer(3000) done"),
                                               QStringLiteral("startServer(B, npm run dev)")}));
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("❌")).isEmpty());
    EXPECT_EQ(projectManager.selectedProject(), b);
}

TEST_F(AlertCoordinatorTurnTest, AFailedStartAfterItsTurnIsShownAndLetsTheNextGo)
{
    Gate killGate;
    serverManager.killGate = &killGate;
    serverManager.startFailure = QStringLiteral("Empty command");
    serverManager.startFailureLines = {QStringLiteral("sh: 1: vite: not found")};
    presenter->answers = {0, 0};
    int switchFailures = 0;
    switcher.onStartFailed = [&](std::exception_ptr) {
        ++switchFailures;
    };
    switcher.projectSelected(b);
    ASSERT_TRUE(waitUntil([&] { return killGate.waiting == 1; }));
    alerts.showStartServerAlert(b);

    killGate.open();
    ASSERT_TRUE(waitUntil([&] { return flowEnded && switchesEnded == 1; }));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    EXPECT_EQ(switchFailures, 1);
    // The question's failure alert, with the server's last lines, as without a switch.
    ASSERT_EQ(presenter->shown.size(), 2);
    EXPECT_EQ(presenter->shown.at(1), AlertCoordinator::startFailureAlert(
                                          QStringLiteral("Failed to start server: Empty command"),
                                          {QStringLiteral("sh: 1: vite: not found")}));
    EXPECT_TRUE(opened.isEmpty());

    // The turn was let go: the menu's start runs at once.
    serverManager.startFailure.reset();
    bool started = false;
    [](ProjectSwitcher& switcher, bool& started) -> QCoro::Task<> {
        co_await switcher.startSelectedServer();
        started = true;
    }(switcher, started);
    EXPECT_TRUE(waitUntil([&] { return started; }));
}
