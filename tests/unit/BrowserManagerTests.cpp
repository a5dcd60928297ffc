#include "Managers/BrowserManager.h"

#include "fakes/FakeBrowserBackend.h"
#include "fakes/FakeBrowserLocator.h"
#include "support/AwaitTask.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"

#include <QPointer>

#include <gtest/gtest.h>

using TestSupport::awaitTask;
using TestSupport::errorOf;
using Call = FakeBrowserBackend::Call;

namespace {

const QString firefoxReloadLine =
    QStringLiteral("ℹ️ Firefox reload uses keystroke simulation - may be less reliable");

class BrowserManagerTest : public ::testing::Test
{
protected:
    SharedFakeBrowserLocator locator;
    std::shared_ptr<FakeBrowserBackend> backend = std::make_shared<FakeBrowserBackend>();
    BrowserManager manager{backend};
};

} // namespace

TEST_F(BrowserManagerTest, ActivateConcreteBrowserGoesStraightToTheBackend)
{
    awaitTask(manager.activateBrowser(Browser::edge));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("activate"), Browser::edge, {}}}));
    EXPECT_EQ(locator->defaultQueries, 0);
}

TEST_F(BrowserManagerTest, ActivateAutoResolvesToTheDefaultBrowser)
{
    locator->defaultIdentifier = QStringLiteral("org.mozilla.firefox");
    awaitTask(manager.activateBrowser(Browser::auto_));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("activate"), Browser::firefox, {}}}));
}

TEST_F(BrowserManagerTest, AutoIsResolvedOffTheMainThread)
{
    locator->defaultIdentifier = QStringLiteral("com.microsoft.edgemac");
    awaitTask(manager.activateBrowser(Browser::auto_));
    awaitTask(manager.findExistingWindow(QStringLiteral("http://localhost:3000"), Browser::auto_));
    awaitTask(manager.openIncognito(QStringLiteral("http://localhost:3000"), Browser::auto_));
    EXPECT_EQ(locator->defaultQueries, 3);
    EXPECT_EQ(locator->mainThreadQueries, 0);
}

TEST_F(BrowserManagerTest, AutoIsResolvedAnewAtEveryCall)
{
    locator->defaultIdentifier = QStringLiteral("com.google.Chrome");
    awaitTask(manager.openIncognito(QStringLiteral("http://localhost:3000"), Browser::auto_));
    locator->defaultIdentifier = QStringLiteral("com.microsoft.edgemac");
    awaitTask(manager.openIncognito(QStringLiteral("http://localhost:3000"), Browser::auto_));
    EXPECT_EQ(backend->calls, (QList<Call>{
                                  {QStringLiteral("openPrivateWindow"), Browser::chrome,
                                   QStringLiteral("http://localhost:3000")},
                                  {QStringLiteral("openPrivateWindow"), Browser::edge,
                                   QStringLiteral("http://localhost:3000")},
                              }));
}

TEST_F(BrowserManagerTest, AutoWithNoneInstalledResolvesToChromeAndFailsAsChrome)
{
    locator->defaultIdentifier = QStringLiteral("com.apple.Safari");
    backend->failure = BrowserError::browserNotFound(Browser::chrome);
    const auto error = errorOf<BrowserError>(manager.activateBrowser(Browser::auto_));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->errorDescription(), QStringLiteral("Chrome is not installed"));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("activate"), Browser::chrome, {}}}));
}

TEST_F(BrowserManagerTest, FindExistingWindowPassesTheAddressWithoutSchemes)
{
    backend->tabFound[Browser::chrome] = true;
    EXPECT_TRUE(awaitTask(
        manager.findExistingWindow(QStringLiteral("http://localhost:3000"), Browser::chrome)));
    EXPECT_FALSE(awaitTask(
        manager.findExistingWindow(QStringLiteral("https://app.example.com/a"), Browser::edge)));
    EXPECT_EQ(backend->calls,
              (QList<Call>{
                  {QStringLiteral("findTab"), Browser::chrome, QStringLiteral("localhost:3000")},
                  {QStringLiteral("findTab"), Browser::edge, QStringLiteral("app.example.com/a")},
              }));
}

TEST_F(BrowserManagerTest, FindExistingWindowResolvesAuto)
{
    locator->defaultIdentifier = QStringLiteral("com.apple.Safari");
    locator->installed = {Browser::firefox};
    backend->tabFound[Browser::firefox] = true;
    EXPECT_TRUE(awaitTask(
        manager.findExistingWindow(QStringLiteral("http://localhost:3000"), Browser::auto_)));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("findTab"), Browser::firefox,
                                            QStringLiteral("localhost:3000")}}));
}

TEST_F(BrowserManagerTest, OpenIncognitoUsesTheAddressAsGiven)
{
    awaitTask(
        manager.openIncognito(QStringLiteral("http://localhost:3000/a\"b"), Browser::firefox));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("openPrivateWindow"), Browser::firefox,
                                            QStringLiteral("http://localhost:3000/a\"b")}}));
}

TEST_F(BrowserManagerTest, ReloadChromeAndEdgeUseTheirOwnPath)
{
    LogCapture log;
    awaitTask(manager.reloadPage(Browser::chrome));
    awaitTask(manager.reloadPage(Browser::edge));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("reload"), Browser::chrome, {}},
                                           {QStringLiteral("reload"), Browser::edge, {}}}));
    EXPECT_TRUE(log.printed().isEmpty());
}

TEST_F(BrowserManagerTest, ReloadFirefoxPrintsTheKeystrokeNotice)
{
    LogCapture log;
    awaitTask(manager.reloadPage(Browser::firefox));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("reload"), Browser::firefox, {}}}));
    EXPECT_EQ(log.printed(), QStringList{firefoxReloadLine});
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(BrowserManagerTest, ReloadAutoAlwaysTakesTheFirefoxKeystrokePath)
{
    // Whatever the default browser is, auto is not resolved for a reload.
    for (const QString& identifier :
         {QStringLiteral("com.google.Chrome"), QStringLiteral("com.microsoft.edgemac")}) {
        LogCapture log;
        backend->calls.clear();
        locator->defaultIdentifier = identifier;
        awaitTask(manager.reloadPage(Browser::auto_));
        EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("reload"), Browser::firefox, {}}}));
        EXPECT_EQ(log.printed(), QStringList{firefoxReloadLine});
    }
    EXPECT_EQ(locator->defaultQueries, 0);
}

TEST_F(BrowserManagerTest, ReloadAutoReportsErrorsAsFirefox)
{
    locator->defaultIdentifier = QStringLiteral("com.google.Chrome");
    backend->failure = BrowserError::permissionDenied(Browser::firefox);
    const auto error = errorOf<BrowserError>(manager.reloadPage(Browser::auto_));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->errorDescription(), QStringLiteral("Permission denied to control Firefox"));
}

TEST_F(BrowserManagerTest, BackendErrorsReachTheCallerUnchanged)
{
    backend->failure = BrowserError::timeout(Browser::chrome);
    EXPECT_EQ(errorOf<BrowserError>(manager.activateBrowser(Browser::chrome)),
              BrowserError::timeout(Browser::chrome));
    EXPECT_EQ(errorOf<BrowserError>(
                  manager.findExistingWindow(QStringLiteral("localhost:1"), Browser::chrome)),
              BrowserError::timeout(Browser::chrome));
    EXPECT_EQ(errorOf<BrowserError>(
                  manager.openIncognito(QStringLiteral("localhost:1"), Browser::chrome)),
              BrowserError::timeout(Browser::chrome));
    EXPECT_EQ(errorOf<BrowserError>(manager.reloadPage(Browser::chrome)),
              BrowserError::timeout(Browser::chrome));
}

TEST_F(BrowserManagerTest, ManagerMayGoAwayWhileAutoIsResolved)
{
    locator->defaultIdentifier = QStringLiteral("com.microsoft.edgemac");
    auto* transient = new BrowserManager(backend);
    QCoro::Task<> task = transient->activateBrowser(Browser::auto_);
    delete transient;
    awaitTask(std::move(task));
    EXPECT_EQ(backend->calls, (QList<Call>{{QStringLiteral("activate"), Browser::edge, {}}}));
}
