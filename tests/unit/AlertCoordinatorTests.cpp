#include "App/AlertCoordinator.h"

#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSysInfo>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace std::chrono_literals;

namespace {

// Records the addresses the alerts ask to open, with the time they asked.
QCoro::Task<> recordOpening(QStringList* opened, QList<qint64>* times, QElapsedTimer* clock,
                            std::optional<BrowserError> failure, QString url)
{
    opened->append(url);
    times->append(clock->elapsed());
    if (failure) {
        throw *failure;
    }
    co_return;
}

class AlertCoordinatorTest : public ::testing::Test
{
protected:
    AlertCoordinatorTest()
    {
        clock.start();
        alerts.openBrowserWindow = [this](QString url) {
            return recordOpening(&opened, &openedAt, &clock, browserFailure, url);
        };
        alerts.showSettings = [this] {
            ++settingsShown;
        };
        // The coordinator's clock and the fake's must be the same.
        serverManager.clock = clock;
    }

    QElapsedTimer clock;
    FakeServerManager serverManager;
    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    std::shared_ptr<FakeSystemSettingsOpener> opener = std::make_shared<FakeSystemSettingsOpener>();
    AlertCoordinator alerts{&serverManager, presenter, opener};

    std::optional<BrowserError> browserFailure;
    QStringList opened;
    QList<qint64> openedAt;
    int settingsShown = 0;
    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
};

} // namespace

TEST_F(AlertCoordinatorTest, StartServerAlertAsksForTheProjectAndPort)
{
    const Alert expected{QStringLiteral("Server is not running"),
                         QStringLiteral("Would you like to start web on port 3000?"),
                         Alert::Style::informational,
                         {QStringLiteral("Start Server"), QStringLiteral("Cancel")}};
    EXPECT_EQ(AlertCoordinator::startServerAlert(web), expected);

    presenter->answers = {1};
    alerts.showStartServerAlert(web);
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), expected);
}

TEST_F(AlertCoordinatorTest, DecliningStartServerStartsNothingAndOpensNoBrowser)
{
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded,
                     [] { ADD_FAILURE() << "no start flow may run"; });
    presenter->answers = {1};
    alerts.showStartServerAlert(web);
    // A dismissed alert counts as a refusal too.
    presenter->answers = {-1};
    alerts.showStartServerAlert(web);

    TestSupport::waitUntil([] { return false; }, 300ms);
    EXPECT_TRUE(serverManager.calls.isEmpty());
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_EQ(presenter->shown.size(), 2);
}

TEST_F(AlertCoordinatorTest, AfterStartServerTheBrowserOpensTwoSecondsAfterTheStartReturns)
{
    EXPECT_EQ(alerts.serverStartPause, 2000ms);
    Gate startGate;
    serverManager.startGate = &startGate;
    // Nothing listens on the port, and nobody asks.
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });

    presenter->answers = {0};
    alerts.showStartServerAlert(web);
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("startServer(web, npm run dev)")});

    // The start takes a while; the pause counts from its return.
    TestSupport::waitUntil([] { return false; }, 300ms);
    EXPECT_TRUE(opened.isEmpty());
    startGate.open();

    ASSERT_TRUE(TestSupport::waitUntil([&] { return ended; }, 20s));
    ASSERT_EQ(opened, QStringList{QStringLiteral("localhost:3000")});
    const qint64 pause = openedAt.first() - serverManager.startReturnedAt;
    EXPECT_GE(pause, 1995);
    EXPECT_LT(pause, 8000);
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("checkPort")).isEmpty());
    EXPECT_EQ(presenter->shown.size(), 1);
}

TEST_F(AlertCoordinatorTest, BrowserOpensAfterThePauseAlsoWhenThePortAlreadyAnswers)
{
    alerts.serverStartPause = 50ms;
    serverManager.listeningPorts = {3000};
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });

    presenter->answers = {0};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return ended; }));
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:3000")});
    EXPECT_GE(openedAt.first() - serverManager.startReturnedAt, 49);
    EXPECT_TRUE(serverManager.callsStartingWith(QStringLiteral("checkPort")).isEmpty());
}

TEST_F(AlertCoordinatorTest, BrowserOpensWhereTheServerWasFoundWhenItsPortWasLearned)
{
    alerts.serverStartPause = 10ms;
    serverManager.learnedPort = 4321;
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });

    presenter->answers = {0};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return ended; }));
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:4321")});
    // The question named the project's port as it was before the start.
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first().informativeText,
              QStringLiteral("Would you like to start web on port 3000?"));
}

TEST_F(AlertCoordinatorTest, FailedStartShowsTheGenericErrorWithShowOutputAndOpensNothing)
{
    alerts.serverStartPause = 10ms;
    serverManager.startFailure = QStringLiteral("No start command");
    int outputShown = 0;
    alerts.showServerOutput = [&] {
        ++outputShown;
    };
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });

    presenter->answers = {0, 0};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return ended; }));
    EXPECT_TRUE(opened.isEmpty());
    ASSERT_EQ(presenter->shown.size(), 2);
    // Nothing was written: no blank line and no lines.
    const Alert expected{QStringLiteral("An error occurred"),
                         QStringLiteral("Failed to start server: No start command"),
                         Alert::Style::warning,
                         {QStringLiteral("OK"), QStringLiteral("Show Output")},
                         0};
    EXPECT_EQ(presenter->shown.at(1), expected);
    EXPECT_EQ(outputShown, 0);
}

TEST_F(AlertCoordinatorTest, StartFailureAlertCutsVeryLongLines)
{
    const QString longLine(1000, QLatin1Char('x'));
    const Alert alert = AlertCoordinator::startFailureAlert(
        QStringLiteral("Failed to start server: Process crashed during startup"),
        {longLine, QStringLiteral("short")});
    EXPECT_EQ(alert.informativeText,
              QStringLiteral("Failed to start server: Process crashed during startup\n\n") +
                  QString(300, QLatin1Char('x')) + QStringLiteral("…\nshort"));
}

TEST_F(AlertCoordinatorTest, StartFailureAlertShowsTheLastLinesAfterABlankLine)
{
    const ServerError error = ServerError::failedToStart(
        QStringLiteral("Process crashed during startup"),
        {QStringLiteral("> web@ dev"), QStringLiteral("sh: 1: vite: not found")});
    const Alert expected{QStringLiteral("An error occurred"),
                         QStringLiteral("Failed to start server: Process crashed during startup\n\n"
                                        "> web@ dev\nsh: 1: vite: not found"),
                         Alert::Style::warning,
                         {QStringLiteral("OK"), QStringLiteral("Show Output")},
                         0};
    EXPECT_EQ(AlertCoordinator::startFailureAlert(error), expected);

    int outputShown = 0;
    alerts.showServerOutput = [&] {
        ++outputShown;
    };
    presenter->answers = {0, 1};
    alerts.showError(error);
    EXPECT_EQ(outputShown, 0);
    alerts.showError(error);
    EXPECT_EQ(outputShown, 1);
    ASSERT_EQ(presenter->shown.size(), 2);
    EXPECT_EQ(presenter->shown.at(1), expected);
}

TEST_F(AlertCoordinatorTest, BrowserFailureAfterTheStartShowsTheBrowserError)
{
    alerts.serverStartPause = 10ms;
    browserFailure = BrowserError::timeout(Browser::chrome);
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });

    presenter->answers = {0, 0};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return ended; }));
    ASSERT_EQ(presenter->shown.size(), 2);
    const Alert expected{QStringLiteral("Chrome is not responding"),
                         QStringLiteral("Force quit and restart the browser"),
                         Alert::Style::warning,
                         {QStringLiteral("OK")}};
    EXPECT_EQ(presenter->shown.at(1), expected);
    EXPECT_TRUE(opener->opened.isEmpty());
    EXPECT_EQ(settingsShown, 0);
}

TEST_F(AlertCoordinatorTest, PermissionDeniedOffersTheAutomationPane)
{
    const BrowserError error = BrowserError::permissionDenied(Browser::chrome);
    const Alert expected{
        QStringLiteral("Permission denied to control Chrome"),
        QStringLiteral("Grant Automation permission in System Settings → Privacy & Security → "
                       "Automation"),
        Alert::Style::warning,
        {QStringLiteral("Open System Settings"), QStringLiteral("Cancel")}};

    presenter->answers = {1};
    alerts.showBrowserError(error);
    EXPECT_TRUE(opener->opened.isEmpty());

    presenter->answers = {0};
    alerts.showBrowserError(error);
    EXPECT_EQ(opener->opened,
              QStringList{QStringLiteral(
                  "x-apple.systempreferences:com.apple.preference.security?Privacy_Automation")});
    ASSERT_EQ(presenter->shown.size(), 2);
    EXPECT_EQ(presenter->shown.at(0), expected);
    EXPECT_EQ(presenter->shown.at(1), expected);
    EXPECT_EQ(settingsShown, 0);
}

TEST_F(AlertCoordinatorTest, BrowserNotFoundOffersTheSettings)
{
    const BrowserError error = BrowserError::browserNotFound(Browser::edge);
    presenter->answers = {1};
    alerts.showBrowserError(error);
    EXPECT_EQ(settingsShown, 0);

    presenter->answers = {0};
    alerts.showBrowserError(error);
    EXPECT_EQ(settingsShown, 1);
    EXPECT_TRUE(opener->opened.isEmpty());
    const Alert expected{QStringLiteral("Edge is not installed"),
                         QStringLiteral("Install Edge or select a different browser in settings"),
                         Alert::Style::warning,
                         {QStringLiteral("Select Different Browser"), QStringLiteral("Cancel")}};
    EXPECT_EQ(presenter->shown.last(), expected);
}

TEST_F(AlertCoordinatorTest, ScriptFailureAndTimeoutOfferOnlyOK)
{
    const QList<BrowserError> errors = {
        BrowserError::scriptFailed(Browser::firefox, QStringLiteral("Syntax error")),
        BrowserError::timeout(Browser::chrome),
        BrowserError::unknown(QStringLiteral("odd")),
    };
    for (const BrowserError& error : errors) {
        presenter->answers = {0};
        alerts.showBrowserError(error);
        EXPECT_EQ(presenter->shown.last().buttons, QStringList{QStringLiteral("OK")});
        EXPECT_EQ(presenter->shown.last().messageText, error.errorDescription());
        EXPECT_EQ(presenter->shown.last().informativeText, *error.recoverySuggestion());
    }
    EXPECT_TRUE(opener->opened.isEmpty());
    EXPECT_EQ(settingsShown, 0);
}

TEST_F(AlertCoordinatorTest, BrowserErrorWithoutDescriptionIsTitledBrowserError)
{
    const Alert alert = AlertCoordinator::browserErrorAlert(BrowserError::Case::scriptFailed,
                                                            QString(), std::nullopt);
    EXPECT_EQ(alert.messageText, QStringLiteral("Browser Error"));
    EXPECT_EQ(alert.informativeText, QString());
    EXPECT_EQ(alert.style, Alert::Style::warning);
    EXPECT_EQ(alert.buttons, QStringList{QStringLiteral("OK")});

    const Alert denied = AlertCoordinator::browserErrorAlert(BrowserError::Case::permissionDenied,
                                                             QString(), QStringLiteral("Grant it"));
    EXPECT_EQ(denied.messageText, QStringLiteral("Browser Error"));
    EXPECT_EQ(denied.informativeText, QStringLiteral("Grant it"));
}

TEST_F(AlertCoordinatorTest, OtherErrorsShowTheGenericAlert)
{
    alerts.showError(std::runtime_error("disk on fire"));
    const Alert expected{QStringLiteral("An error occurred"),
                         QStringLiteral("disk on fire"),
                         Alert::Style::warning,
                         {QStringLiteral("OK")}};
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), expected);

    alerts.showError(BrowserError::timeout(Browser::firefox));
    EXPECT_EQ(presenter->shown.last().messageText, QStringLiteral("Firefox is not responding"));
}

TEST_F(AlertCoordinatorTest, NoProjectSelectedAlertUsesThePlatformDefaultButton)
{
    alerts.showNoProjectSelectedAlert();
    const Alert expected{QStringLiteral("No project selected"),
                         QStringLiteral("Please select a project from the menu first."),
                         Alert::Style::warning,
                         {}};
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), expected);
}

TEST(SystemSettingsOpenerTest, LinuxHasNoHandlerAndLogsALine)
{
    if (QSysInfo::kernelType() != QLatin1String("linux")) {
        GTEST_SKIP() << "the Linux opener only";
    }
    LogCapture log;
    SystemSettingsOpener::makeSystemOpener()->open(AlertCoordinator::automationSettingsAddress);
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral(
                  "⚠️ [SystemSettings] No settings pane for "
                  "x-apple.systempreferences:com.apple.preference.security?Privacy_Automation on "
                  "this platform")});
}
