#include "App/MainAction.h"

#include "App/AlertCoordinator.h"
#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QCoro/QCoroTask>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

class MainActionTest : public ::testing::Test
{
protected:
    MainActionTest()
    {
        alerts.openBrowserWindow = [this](QString url) {
            return mainAction.openBrowserWindow(url);
        };
        alerts.serverStartPause = 10ms;
    }

    void run() { QCoro::waitFor(mainAction.performMainAction()); }

    void useCustomURL(const QString& text)
    {
        settings->setCustomURL(text);
        settings->setIsCustomURLActive(true);
    }

    void selectWeb(bool listening)
    {
        projectManager.setProjects({web});
        projectManager.setSelectedProject(web);
        if (listening) {
            serverManager.listeningPorts = {3000};
        }
    }

    TestSettings settings;
    FakeProjectManager projectManager;
    FakeServerManager serverManager;
    FakeBrowserManager browserManager;
    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    AlertCoordinator alerts{&serverManager, presenter,
                            std::make_shared<FakeSystemSettingsOpener>()};
    MainAction mainAction{settings.get(), &projectManager, &serverManager, &browserManager,
                          &alerts};
    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
};

} // namespace

TEST_F(MainActionTest, CustomAddressWithoutSchemeGetsHttps)
{
    useCustomURL(QStringLiteral("staging.example.com"));
    run();
    EXPECT_EQ(browserManager.calls,
              (QStringList{QStringLiteral("findExistingWindow(https://staging.example.com, auto)"),
                           QStringLiteral("openIncognito(https://staging.example.com, auto)")}));
    EXPECT_TRUE(serverManager.calls.isEmpty());
}

TEST_F(MainActionTest, CustomAddressWithHttpSchemeIsUsedUnchanged)
{
    useCustomURL(QStringLiteral("http://x"));
    run();
    EXPECT_EQ(browserManager.calls.first(), QStringLiteral("findExistingWindow(http://x, auto)"));
}

TEST_F(MainActionTest, CustomAddressBeginningWithHttpInTheHostNameIsUsedUnchanged)
{
    useCustomURL(QStringLiteral("httpbin.org"));
    run();
    EXPECT_EQ(browserManager.calls,
              (QStringList{QStringLiteral("findExistingWindow(httpbin.org, auto)"),
                           QStringLiteral("openIncognito(httpbin.org, auto)")}));
}

TEST_F(MainActionTest, CustomAddressIsTrimmed)
{
    useCustomURL(QStringLiteral("  staging.example.com \n"));
    run();
    EXPECT_EQ(browserManager.calls.first(),
              QStringLiteral("findExistingWindow(https://staging.example.com, auto)"));
}

TEST_F(MainActionTest, UnusableCustomAddressFallsBackToTheSelectedProject)
{
    useCustomURL(QStringLiteral("  word  "));
    selectWeb(true);
    run();
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("checkPort(3000)")});
    EXPECT_EQ(browserManager.calls.first(),
              QStringLiteral("findExistingWindow(http://localhost:3000, auto)"));
}

TEST_F(MainActionTest, InactiveCustomAddressIsIgnored)
{
    settings->setCustomURL(QStringLiteral("staging.example.com"));
    selectWeb(true);
    run();
    EXPECT_EQ(browserManager.calls.first(),
              QStringLiteral("findExistingWindow(http://localhost:3000, auto)"));
}

TEST_F(MainActionTest, NoProjectSelectedShowsTheAlert)
{
    run();
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), AlertCoordinator::noProjectSelectedAlert());
    EXPECT_TRUE(browserManager.calls.isEmpty());
    EXPECT_TRUE(serverManager.calls.isEmpty());
}

TEST_F(MainActionTest, AnsweringPortOpensTheLocalSiteInFindMode)
{
    selectWeb(true);
    run();
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("checkPort(3000)")});
    EXPECT_EQ(browserManager.calls,
              (QStringList{QStringLiteral("findExistingWindow(http://localhost:3000, auto)"),
                           QStringLiteral("openIncognito(http://localhost:3000, auto)")}));
    EXPECT_TRUE(presenter->shown.isEmpty());
}

TEST_F(MainActionTest, FindModeWithAnOpenTabOnlyFocusesIt)
{
    selectWeb(true);
    settings->setPreferredBrowser(Browser::chrome);
    browserManager.windowFound = true;
    run();
    EXPECT_EQ(browserManager.calls,
              QStringList{QStringLiteral("findExistingWindow(http://localhost:3000, chrome)")});
}

TEST_F(MainActionTest, AlwaysNewWindowOpensAPrivateWindow)
{
    selectWeb(true);
    settings->setBehaviorMode(BehaviorMode::alwaysNewWindow);
    settings->setPreferredBrowser(Browser::firefox);
    browserManager.windowFound = true;
    run();
    EXPECT_EQ(browserManager.calls,
              QStringList{QStringLiteral("openIncognito(http://localhost:3000, firefox)")});
}

TEST_F(MainActionTest, BringToFrontActivatesThePreferredBrowser)
{
    selectWeb(true);
    settings->setBehaviorMode(BehaviorMode::bringToFront);
    settings->setPreferredBrowser(Browser::edge);
    run();
    EXPECT_EQ(browserManager.calls, QStringList{QStringLiteral("activateBrowser(edge)")});
}

TEST_F(MainActionTest, EachBehaviourModeWithACustomAddress)
{
    useCustomURL(QStringLiteral("staging.example.com"));
    settings->setBehaviorMode(BehaviorMode::alwaysNewWindow);
    run();
    settings->setBehaviorMode(BehaviorMode::bringToFront);
    run();
    settings->setBehaviorMode(BehaviorMode::findURLWindow);
    browserManager.windowFound = true;
    run();
    EXPECT_EQ(
        browserManager.calls,
        (QStringList{QStringLiteral("openIncognito(https://staging.example.com, auto)"),
                     QStringLiteral("activateBrowser(auto)"),
                     QStringLiteral("findExistingWindow(https://staging.example.com, auto)")}));
}

TEST_F(MainActionTest, SilentPortAsksToStartTheServer)
{
    selectWeb(false);
    presenter->answers = {1};
    run();
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), AlertCoordinator::startServerAlert(web));
    EXPECT_TRUE(browserManager.calls.isEmpty());
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("checkPort(3000)")});
}

TEST_F(MainActionTest, ConfirmedStartOpensTheSiteThroughTheBehaviourMode)
{
    selectWeb(false);
    settings->setBehaviorMode(BehaviorMode::alwaysNewWindow);
    bool ended = false;
    QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded, [&] { ended = true; });
    presenter->answers = {0};
    run();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return ended; }));
    EXPECT_EQ(serverManager.calls, (QStringList{QStringLiteral("checkPort(3000)"),
                                                QStringLiteral("startServer(web, npm run dev)")}));
    EXPECT_EQ(browserManager.calls,
              QStringList{QStringLiteral("openIncognito(http://localhost:3000, auto)")});
}

TEST_F(MainActionTest, BrowserErrorIsShownWithItsWayOut)
{
    selectWeb(true);
    browserManager.openError = BrowserError::permissionDenied(Browser::chrome);
    presenter->answers = {1};
    run();
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(),
              AlertCoordinator::browserErrorAlert(BrowserError::permissionDenied(Browser::chrome)));
}

TEST_F(MainActionTest, BrowserErrorOfACustomAddressIsShownToo)
{
    useCustomURL(QStringLiteral("staging.example.com"));
    browserManager.findError = BrowserError::timeout(Browser::chrome);
    run();
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first().messageText, QStringLiteral("Chrome is not responding"));
    EXPECT_EQ(presenter->shown.first().buttons, QStringList{QStringLiteral("OK")});
}
