#include "Controllers/ProjectSwitcher.h"

#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

const QString prefix = QStringLiteral("[StatusBarController]");

class ProjectSwitcherTest : public ::testing::Test
{
protected:
    ProjectSwitcherTest()
    {
        switcher.checkInterval = 10ms;
        switcher.rebuildMenu = [this] {
            ++menuRebuilds;
        };
        projectManager.setProjects({a, b, c});
    }

    // The controller's lines, without their emoji mark.
    QStringList switchLines() const
    {
        QStringList lines;
        for (const QString& line : log.lines()) {
            if (line.contains(prefix)) {
                lines.append(line);
            }
        }
        return lines;
    }

    bool waitForSwitch()
    {
        return TestSupport::waitUntil([this] {
            return switcher.currentSwitchTask && switcher.currentSwitchTask->isFinished();
        });
    }

    // Waits until every switch started so far has ended.
    bool waitForSwitches(int count)
    {
        return TestSupport::waitUntil([this, count] { return ended >= count; });
    }

    bool waitForLine(const QString& line)
    {
        return TestSupport::waitUntil([this, &line] { return log.contains(line); });
    }

    // The older switch gave way during its start; the newer one ran to the end.
    void expectTheNewerSwitchCompleted(const Project& newer)
    {
        EXPECT_TRUE(log.contains(QStringLiteral(
            "⏹️ [StatusBarController] Switch cancelled before waiting for server")));
        EXPECT_TRUE(
            log.contains(QStringLiteral("✅ [StatusBarController] Project switch complete")));
        EXPECT_EQ(projectManager.selectedProject(), newer);
    }

    void startWith(const Project& project)
    {
        projectManager.setSelectedProject(project);
        projectManager.selections.clear();
    }

    TestSettings settings;
    FakeServerManager serverManager;
    FakeProjectManager projectManager;
    FakeBrowserManager browserManager;
    ProjectSwitcher switcher{settings.get(), &serverManager, &projectManager, &browserManager};
    LogCapture log;
    int menuRebuilds = 0;
    int ended = 0;
    QMetaObject::Connection endedConnection =
        QObject::connect(&switcher, &ProjectSwitcher::switchEnded, [this] { ++ended; });

    const Project a = TestProjects::make(QStringLiteral("A"), 3000, QStringLiteral("/p/a"));
    const Project b = TestProjects::make(QStringLiteral("B"), 3001, QStringLiteral("/p/b"));
    const Project c = TestProjects::make(QStringLiteral("C"), 3002, QStringLiteral("/p/c"));
};

} // namespace

TEST_F(ProjectSwitcherTest, WaitsHalfASecondBetweenChecksAndChecksTwentyTimes)
{
    ProjectSwitcher fresh(settings.get(), &serverManager, &projectManager, &browserManager);
    EXPECT_EQ(fresh.checkInterval, 500ms);
    EXPECT_EQ(fresh.maxChecks, 20);
    EXPECT_FALSE(fresh.currentSwitchTask.has_value());
}

TEST_F(ProjectSwitcherTest, SuccessfulSwitchLogsTheWholeSequence)
{
    startWith(a);
    settings->setIsCustomURLActive(true);
    settings->setPreferredBrowser(Browser::chrome);
    serverManager.opensAtCheck = {{3001, 3}};

    switcher.projectSelected(b);
    EXPECT_FALSE(settings->isCustomURLActive());
    ASSERT_TRUE(waitForSwitch());

    EXPECT_EQ(switchLines(),
              (QStringList{
                  QStringLiteral("🔄 [StatusBarController] Switching to project: B (port 3001)"),
                  QStringLiteral("🛑 [StatusBarController] Killing server on port 3000"),
                  QStringLiteral("✅ [StatusBarController] Old server cleanup complete"),
                  QStringLiteral("▶️ [StatusBarController] Starting server for B"),
                  QStringLiteral("✅ [StatusBarController] Server start command sent"),
                  QStringLiteral("✅ [StatusBarController] Server is running on port 3001"),
                  QStringLiteral("✅ [StatusBarController] Project switch complete"),
              }));
    EXPECT_EQ(serverManager.calls,
              (QStringList{
                  QStringLiteral("killServer(3000)"), QStringLiteral("killServer(3000) done"),
                  QStringLiteral("startServer(B, npm run dev)"), QStringLiteral("checkPort(3001)"),
                  QStringLiteral("checkPort(3001)"), QStringLiteral("checkPort(3001)"),
                  QStringLiteral("updatePollingPort(3001)")}));
    EXPECT_EQ(browserManager.calls,
              (QStringList{QStringLiteral("findExistingWindow(http://localhost:3001, chrome)"),
                           QStringLiteral("openIncognito(http://localhost:3001, chrome)")}));
    EXPECT_EQ(projectManager.selectedProject(), b);
    EXPECT_EQ(settings->selectedProjectPath(), QStringLiteral("/p/b"));
}

TEST_F(ProjectSwitcherTest, AfterALearnedPortTheSwitchWaitsForAndOpensThatPort)
{
    startWith(a);
    serverManager.learnedPort = 4321;
    serverManager.listeningPorts = {4321};

    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());

    EXPECT_EQ(serverManager.calls, (QStringList{QStringLiteral("killServer(3000)"),
                                                QStringLiteral("killServer(3000) done"),
                                                QStringLiteral("startServer(B, npm run dev)"),
                                                QStringLiteral("checkPort(4321)"),
                                                QStringLiteral("updatePollingPort(4321)")}));
    EXPECT_EQ(browserManager.calls,
              (QStringList{QStringLiteral("findExistingWindow(http://localhost:4321, auto)"),
                           QStringLiteral("openIncognito(http://localhost:4321, auto)")}));
    EXPECT_TRUE(
        log.contains(QStringLiteral("✅ [StatusBarController] Server is running on port 4321")));
    // The switch still announces the project as it was chosen.
    EXPECT_TRUE(log.contains(
        QStringLiteral("🔄 [StatusBarController] Switching to project: B (port 3001)")));
}

TEST_F(ProjectSwitcherTest, ExistingTabIsFocusedInsteadOfAPrivateWindow)
{
    startWith(a);
    serverManager.listeningPorts = {3001};
    browserManager.windowFound = true;
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_EQ(browserManager.calls,
              QStringList{QStringLiteral("findExistingWindow(http://localhost:3001, auto)")});
    EXPECT_EQ(switchLines().last(),
              QStringLiteral("✅ [StatusBarController] Project switch complete"));
}

TEST_F(ProjectSwitcherTest, ChoosingTheSelectedProjectOnlyClearsCustomAddressMode)
{
    startWith(a);
    settings->setIsCustomURLActive(true);
    switcher.projectSelected(a);

    EXPECT_FALSE(settings->isCustomURLActive());
    EXPECT_EQ(menuRebuilds, 1);
    EXPECT_FALSE(switcher.currentSwitchTask.has_value());
    TestSupport::waitUntil([] { return false; }, 200ms);
    EXPECT_TRUE(serverManager.calls.isEmpty());
    EXPECT_TRUE(browserManager.calls.isEmpty());
    EXPECT_TRUE(switchLines().isEmpty());
    EXPECT_TRUE(projectManager.selections.isEmpty());
}

TEST_F(ProjectSwitcherTest, FirstSwitchAfterLaunchSkipsTheKill)
{
    serverManager.listeningPorts = {3001};
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("killServer")).isEmpty());
    EXPECT_EQ(switchLines(),
              (QStringList{
                  QStringLiteral("🔄 [StatusBarController] Switching to project: B (port 3001)"),
                  QStringLiteral("▶️ [StatusBarController] Starting server for B"),
                  QStringLiteral("✅ [StatusBarController] Server start command sent"),
                  QStringLiteral("✅ [StatusBarController] Server is running on port 3001"),
                  QStringLiteral("✅ [StatusBarController] Project switch complete"),
              }));
}

TEST_F(ProjectSwitcherTest, OldPortIsKilledAlsoWhenBothProjectsUseIt)
{
    const Project twin =
        TestProjects::make(QStringLiteral("twin"), 3000, QStringLiteral("/p/twin"));
    startWith(a);
    serverManager.listeningPorts = {3000};
    switcher.projectSelected(twin);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_EQ(serverManager.calls.first(), QStringLiteral("killServer(3000)"));
    EXPECT_TRUE(
        log.contains(QStringLiteral("🛑 [StatusBarController] Killing server on port 3000")));
}

TEST_F(ProjectSwitcherTest, OldServerIsStoppedBeforeTheNewOneStarts)
{
    Gate killGate;
    serverManager.killGate = &killGate;
    startWith(a);
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return killGate.waiting == 1; }));
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("startServer")).isEmpty());
    EXPECT_EQ(projectManager.selectedProject(), a);
    killGate.open();
    ASSERT_TRUE(waitForSwitch());
    EXPECT_LT(serverManager.calls.indexOf(QStringLiteral("killServer(3000) done")),
              serverManager.calls.indexOf(QStringLiteral("startServer(B, npm run dev)")));
}

TEST_F(ProjectSwitcherTest, FailedStartEndsTheSwitchAndKeepsTheNewSelection)
{
    startWith(a);
    serverManager.startFailure = QStringLiteral("No start command");
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_EQ(switchLines(),
              (QStringList{
                  QStringLiteral("🔄 [StatusBarController] Switching to project: B (port 3001)"),
                  QStringLiteral("🛑 [StatusBarController] Killing server on port 3000"),
                  QStringLiteral("✅ [StatusBarController] Old server cleanup complete"),
                  QStringLiteral("▶️ [StatusBarController] Starting server for B"),
                  QStringLiteral("❌ [StatusBarController] Failed to start server: Failed to start "
                                 "server: No start command"),
              }));
    EXPECT_EQ(projectManager.selectedProject(), b);
    EXPECT_EQ(settings->selectedProjectPath(), QStringLiteral("/p/b"));
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("checkPort")).isEmpty());
    EXPECT_TRUE(browserManager.calls.isEmpty());
}

TEST_F(ProjectSwitcherTest, FailedStartHandsTheErrorWithItsLinesOnAfterTheLogLine)
{
    startWith(a);
    serverManager.startFailure = QStringLiteral("Process crashed during startup");
    serverManager.startFailureLines = {QStringLiteral("sh: 1: vite: not found")};
    QStringList reported;
    bool endedBeforeReport = true;
    switcher.onStartFailed = [&](std::exception_ptr error) {
        endedBeforeReport = log.contains(QStringLiteral(
            "❌ [StatusBarController] Failed to start server: Failed to start server: Process "
            "crashed during startup"));
        try {
            std::rethrow_exception(error);
        } catch (const ServerError& failure) {
            reported.append(failure.errorDescription());
            reported.append(failure.lastLines());
        }
    };
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());

    EXPECT_EQ(reported,
              (QStringList{QStringLiteral("Failed to start server: Process crashed during startup"),
                           QStringLiteral("sh: 1: vite: not found")}));
    EXPECT_TRUE(endedBeforeReport);
    EXPECT_TRUE(browserManager.calls.isEmpty());
}

TEST_F(ProjectSwitcherTest, SuccessfulSwitchReportsNoFailure)
{
    startWith(a);
    serverManager.listeningPorts = {3001};
    int reports = 0;
    switcher.onStartFailed = [&](std::exception_ptr) {
        ++reports;
    };
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_EQ(reports, 0);
}

TEST_F(ProjectSwitcherTest, ServerThatNeverOpensItsPortTimesOutAfterTwentyChecks)
{
    startWith(a);
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("checkPort(3001)")).size(), 20);
    EXPECT_EQ(serverManager.calls.last(), QStringLiteral("updatePollingPort(3001)"));
    const QStringList lines = switchLines();
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines.at(lines.size() - 2),
              QStringLiteral("⚠️ [StatusBarController] Server did not start within timeout, "
                             "opening browser anyway"));
    EXPECT_EQ(lines.last(), QStringLiteral("✅ [StatusBarController] Project switch complete"));
    EXPECT_EQ(browserManager.calls.last(),
              QStringLiteral("openIncognito(http://localhost:3001, auto)"));
}

TEST_F(ProjectSwitcherTest, TimeoutTakesTwentyWaitsOfTheCheckInterval)
{
    switcher.checkInterval = 50ms;
    QElapsedTimer elapsed;
    elapsed.start();
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    // Twenty sleeps of 50 ms: the browser never opens before a second has passed.
    EXPECT_GE(elapsed.elapsed(), 20 * 50 - 5);
    EXPECT_TRUE(log.contains(QStringLiteral("⚠️ [StatusBarController] Server did not start "
                                            "within timeout, opening browser anyway")));
}

TEST_F(ProjectSwitcherTest, BrowserFailuresAreLoggedOnly)
{
    startWith(a);
    serverManager.listeningPorts = {3001, 3002};
    browserManager.openError = BrowserError::permissionDenied(Browser::chrome);
    switcher.projectSelected(b);
    ASSERT_TRUE(waitForSwitch());
    EXPECT_EQ(
        switchLines().last(),
        QStringLiteral("⚠️ [StatusBarController] Failed to open browser: Permission denied to "
                       "control Chrome"));

    browserManager.findError = BrowserError::timeout(Browser::firefox);
    switcher.projectSelected(c);
    ASSERT_TRUE(waitForSwitches(2));
    EXPECT_EQ(switchLines().last(),
              QStringLiteral("⚠️ [StatusBarController] Failed to open browser: Firefox is not "
                             "responding"));
    EXPECT_FALSE(log.contains(QStringLiteral("✅ [StatusBarController] Project switch complete")));
}

TEST_F(ProjectSwitcherTest, NewerChoiceCancelsTheOlderStartThenKillsItsPort)
{
    // B's switch is held in its server start, after B became the selected project.
    Gate startGate;
    serverManager.startGate = &startGate;
    serverManager.listeningPorts = {3001, 3002};
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return startGate.waiting == 1; }));
    EXPECT_EQ(projectManager.selectedProject(), b);

    switcher.projectSelected(c);
    // B's start ends at once, stopping what it launched; only then does C kill whatever
    // listens on B's port, and start C's server.
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        return serverManager.calls.contains(QStringLiteral("startServer(C, npm run dev)"));
    }));
    EXPECT_EQ(serverManager.calls, (QStringList{QStringLiteral("startServer(B, npm run dev)"),
                                                QStringLiteral("startServer(B) cancelled"),
                                                QStringLiteral("killServer(3001)"),
                                                QStringLiteral("killServer(3001) done"),
                                                QStringLiteral("startServer(C, npm run dev)")}));

    startGate.open();
    ASSERT_TRUE(waitForSwitches(2));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    EXPECT_EQ(log.linesStartingWith(QStringLiteral("⏹️")),
              QStringList{QStringLiteral(
                  "⏹️ [StatusBarController] Switch cancelled before waiting for server")});
    // The abandoned switch reports no failure, sends no start line and watches no port.
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("❌")).isEmpty());
    EXPECT_EQ(log.count(QStringLiteral("✅ [StatusBarController] Server start command sent")), 1);
    EXPECT_FALSE(serverManager.calls.contains(QStringLiteral("updatePollingPort(3001)")));
    // Only C's site opens; B never waits for its port.
    EXPECT_EQ(browserManager.calls,
              (QStringList{QStringLiteral("findExistingWindow(http://localhost:3002, auto)"),
                           QStringLiteral("openIncognito(http://localhost:3002, auto)")}));
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("checkPort(3001)")).size(), 0);
    EXPECT_EQ(projectManager.selections, (QStringList{QStringLiteral("B"), QStringLiteral("C")}));
    EXPECT_EQ(projectManager.selectedProject(), c);
    EXPECT_EQ(settings->selectedProjectPath(), QStringLiteral("/p/c"));
}

TEST_F(ProjectSwitcherTest, NewerChoiceWaitsUntilTheOlderStartHasEndedBeforeItsKill)
{
    // A start that runs on to its end although its switch was given up.
    Gate startGate;
    serverManager.startGate = &startGate;
    serverManager.startsHonourCancellation = false;
    serverManager.listeningPorts = {3001, 3002};
    startWith(a);
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return startGate.waiting == 1; }));

    switcher.projectSelected(c);
    ASSERT_TRUE(
        waitForLine(QStringLiteral("🔄 [StatusBarController] Switching to project: C (port 3002)")));
    // C waits for B's start: nothing of C's runs against the server manager meanwhile.
    EXPECT_EQ(serverManager.calls.last(), QStringLiteral("startServer(B, npm run dev)"));
    EXPECT_EQ(startGate.waiting, 1);

    startGate.open();
    ASSERT_TRUE(waitForSwitches(2));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    EXPECT_EQ(
        serverManager.callsStartingWith(QStringLiteral("killServer(3001)")),
        (QStringList{QStringLiteral("killServer(3001)"), QStringLiteral("killServer(3001) done")}));
    EXPECT_LT(serverManager.calls.indexOf(QStringLiteral("startServer(B, npm run dev)")),
              serverManager.calls.indexOf(QStringLiteral("killServer(3001)")));
    expectTheNewerSwitchCompleted(c);
}

TEST_F(ProjectSwitcherTest, AnAbandonedStartThatFailsReportsNoFailure)
{
    // B's start fails (its child was stopped, say) after its switch was given up.
    Gate startGate;
    serverManager.startGate = &startGate;
    serverManager.startsHonourCancellation = false;
    serverManager.startFailure = QStringLiteral("Process crashed during startup");
    startWith(a);
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return startGate.waiting == 1; }));
    switcher.projectSelected(c);
    ASSERT_TRUE(
        waitForLine(QStringLiteral("🔄 [StatusBarController] Switching to project: C (port 3002)")));
    // C's own start succeeds.
    serverManager.startFailure.reset();
    serverManager.listeningPorts = {3002};
    startGate.open();
    ASSERT_TRUE(waitForSwitches(2));

    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("❌")).isEmpty())
        << log.lines().join(QLatin1Char('\n')).toStdString();
    expectTheNewerSwitchCompleted(c);
}

TEST_F(ProjectSwitcherTest, TheMenusStartWaitsForTheSwitchAndStartsTheProjectSelectedThen)
{
    Gate killGate;
    serverManager.killGate = &killGate;
    serverManager.listeningPorts = {3001};
    startWith(a);
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return killGate.waiting == 1; }));

    bool started = false;
    [](ProjectSwitcher& switcher, bool& started) -> QCoro::Task<> {
        co_await switcher.startSelectedServer();
        started = true;
    }(switcher, started);
    EXPECT_FALSE(started);
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("startServer")).isEmpty());

    killGate.open();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return started && ended == 1; }));
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
    // The switch's start first, then the menu's, of B, selected by then.
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("startServer")),
              (QStringList{QStringLiteral("startServer(B, npm run dev)"),
                           QStringLiteral("startServer(B, npm run dev)")}));
}

TEST_F(ProjectSwitcherTest, NewerChoiceDuringCleanupStopsTheOlderBeforeTheProjectChange)
{
    Gate killGate;
    serverManager.killGate = &killGate;
    serverManager.listeningPorts = {3002};
    startWith(a);
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return killGate.waiting == 1; }));
    switcher.projectSelected(c);
    ASSERT_TRUE(
        waitForLine(QStringLiteral("🔄 [StatusBarController] Switching to project: C (port 3002)")));
    // C's kill waits for B's.
    EXPECT_EQ(killGate.waiting, 1);
    killGate.open();
    ASSERT_TRUE(waitForSwitches(2));

    EXPECT_TRUE(log.contains(
        QStringLiteral("⏹️ [StatusBarController] Switch cancelled before project change")));
    EXPECT_FALSE(projectManager.selections.contains(QStringLiteral("B")));
    EXPECT_EQ(projectManager.selectedProject(), c);
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("startServer")),
              QStringList{QStringLiteral("startServer(C, npm run dev)")});
    EXPECT_EQ(serverManager.mostOperationsInFlight, 1);
}

TEST_F(ProjectSwitcherTest, ChoicesInOneTurnCancelTheFirstBeforeItStarts)
{
    serverManager.listeningPorts = {3002};
    switcher.projectSelected(b);
    switcher.projectSelected(c);
    ASSERT_TRUE(waitForSwitches(2));
    EXPECT_EQ(
        log.linesStartingWith(QStringLiteral("⏹️")),
        QStringList{QStringLiteral("⏹️ [StatusBarController] Switch cancelled before start")});
    EXPECT_FALSE(log.contains(
        QStringLiteral("🔄 [StatusBarController] Switching to project: B (port 3001)")));
    // B never became selected, so C had nothing to kill.
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("killServer")).isEmpty());
    EXPECT_EQ(projectManager.selectedProject(), c);
}

TEST_F(ProjectSwitcherTest, NewerChoiceDuringTheSleepEndsTheWaitWithTheCancelledLine)
{
    switcher.checkInterval = 5s;
    serverManager.listeningPorts = {3002};
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        return log.contains(QStringLiteral("✅ [StatusBarController] Server start command sent"));
    }));
    switcher.checkInterval = 10ms;
    QElapsedTimer elapsed;
    elapsed.start();
    switcher.projectSelected(c);
    ASSERT_TRUE(waitForSwitches(2));
    // The cancelled sleep wakes at once instead of after five seconds.
    EXPECT_LT(elapsed.elapsed(), 4000);
    EXPECT_EQ(log.count(QStringLiteral("🔄 [StatusBarController] Project switch cancelled")), 1);
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("checkPort(3001)")).isEmpty());
    EXPECT_EQ(
        serverManager.callsStartingWith(QStringLiteral("killServer")),
        (QStringList{QStringLiteral("killServer(3001)"), QStringLiteral("killServer(3001) done")}));
}

TEST_F(ProjectSwitcherTest, NewerChoiceDuringAPortCheckStopsAtTheNextCheckPoint)
{
    Gate checkGate;
    serverManager.checkGate = &checkGate;
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return checkGate.waiting == 1; }));
    serverManager.checkGate = nullptr;
    serverManager.listeningPorts = {3002};
    switcher.projectSelected(c);
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        return log.contains(
            QStringLiteral("✅ [StatusBarController] Server is running on port 3002"));
    }));
    checkGate.open();
    ASSERT_TRUE(waitForSwitches(2));
    EXPECT_TRUE(log.contains(
        QStringLiteral("⏹️ [StatusBarController] Switch cancelled during server wait")));
    EXPECT_EQ(serverManager.callsStartingWith(QStringLiteral("checkPort(3001)")).size(), 1);
    EXPECT_FALSE(serverManager.calls.contains(QStringLiteral("updatePollingPort(3001)")));
}

TEST_F(ProjectSwitcherTest, NewerChoiceWhileTheBrowserOpensStopsNothingThatAlreadyRan)
{
    Gate openGate;
    browserManager.openGate = &openGate;
    serverManager.listeningPorts = {3001, 3002};
    switcher.projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return openGate.waiting == 1; }));
    browserManager.openGate = nullptr;
    switcher.projectSelected(c);
    openGate.open();
    ASSERT_TRUE(waitForSwitches(2));
    // The browser step has no check point after it: B's switch completes.
    EXPECT_EQ(log.count(QStringLiteral("✅ [StatusBarController] Project switch complete")), 2);
}

TEST_F(ProjectSwitcherTest, SwitchThatOutlivesTheSwitcherJustEnds)
{
    Gate startGate;
    serverManager.startGate = &startGate;
    auto* doomed =
        new ProjectSwitcher(settings.get(), &serverManager, &projectManager, &browserManager);
    doomed->checkInterval = 10ms;
    doomed->projectSelected(b);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return startGate.waiting == 1; }));
    const ProjectSwitcher::SwitchTask task = *doomed->currentSwitchTask;
    delete doomed;
    startGate.open();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return task.isFinished(); }));
    EXPECT_TRUE(task.isCancelled());
    EXPECT_FALSE(log.contains(QStringLiteral("✅ [StatusBarController] Server start command sent")));
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("checkPort")).isEmpty());
}
