#include "Managers/BrowserManager.h"
#include "Models/BrowserError.h"
#include "Platform/AppleScriptBrowserBackend.h"
#include "Platform/OsascriptRunner.h"
#include "Utilities/BrowserScripts.h"

#include "fakes/FakeBrowserLocator.h"
#include "support/AwaitTask.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::awaitTask;
using TestSupport::errorOf;

namespace {

// Scripts go to the stand-in osascript and Firefox launches to a stand-in open; both keep
// what they were given.
class AppleScriptBackendTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(scripts.isValid());
        ASSERT_TRUE(launches.isValid());
        qputenv("WISP_OSASCRIPT_RECORD_DIR", scripts.path().toUtf8());
        qputenv("WISP_STANDIN_RECORD_DIR", launches.path().toUtf8());
    }

    void TearDown() override
    {
        for (const char* name :
             {"WISP_OSASCRIPT_RECORD_DIR", "WISP_OSASCRIPT_STDOUT", "WISP_OSASCRIPT_STDERR",
              "WISP_OSASCRIPT_EXIT", "WISP_OSASCRIPT_SLEEP", "WISP_STANDIN_RECORD_DIR",
              "WISP_STANDIN_EXIT", "WISP_STANDIN_STAY"}) {
            qunsetenv(name);
        }
    }

    static QStringList filesIn(const QTemporaryDir& dir)
    {
        return QDir(dir.path()).entryList(QDir::Files, QDir::Name);
    }

    QStringList recordedScripts() const
    {
        QStringList texts;
        for (int i = 0; i < filesIn(scripts).size(); ++i) {
            QFile file(QDir(scripts.path()).filePath(QString::number(i) + ".applescript"));
            texts.append(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll())
                                                        : QStringLiteral("<missing>"));
        }
        return texts;
    }

    QList<QStringList> recordedLaunches() const
    {
        QList<QStringList> result;
        for (int i = 0; i < filesIn(launches).size(); ++i) {
            QFile file(QDir(launches.path()).filePath(QString::number(i) + ".args"));
            if (file.open(QIODevice::ReadOnly)) {
                QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
                lines.removeLast();  // the final newline
                lines.removeFirst(); // the stand-in's own name
                result.append(lines);
            }
        }
        return result;
    }

    // The "find_url" behaviour mode: an existing tab, else a private window.
    static QCoro::Task<> openInFindMode(BrowserManaging* manager, QString url, Browser browser)
    {
        const bool found = co_await manager->findExistingWindow(url, browser);
        if (!found) {
            co_await manager->openIncognito(url, browser);
        }
    }

    SharedFakeBrowserLocator locator;
    QTemporaryDir scripts;
    QTemporaryDir launches;
    std::shared_ptr<AppleScriptBrowserBackend> backend =
        std::make_shared<AppleScriptBrowserBackend>(
            std::make_shared<OsascriptRunner>(
                TestSupport::fixturePath(QStringLiteral("osascript"))),
            TestSupport::fixturePath(QStringLiteral("record-arguments")));
    BrowserManager manager{backend};
};

const QString localAddress = QStringLiteral("http://localhost:3000");

} // namespace

TEST_F(AppleScriptBackendTest, FindChromeTabRunsTheFindScriptForTheAddressWithoutScheme)
{
    qputenv("WISP_OSASCRIPT_STDOUT", "true");
    EXPECT_TRUE(awaitTask(manager.findExistingWindow(localAddress, Browser::chrome)));
    EXPECT_EQ(recordedScripts(), QStringList{BrowserScripts::findTab(
                                     Browser::chrome, QStringLiteral("localhost:3000"))});
    EXPECT_TRUE(recordedScripts().value(0).contains(
        QStringLiteral("if tabURL contains \"localhost:3000\" then")));
}

TEST_F(AppleScriptBackendTest, FindEdgeTabRunsTheEdgeScript)
{
    qputenv("WISP_OSASCRIPT_STDOUT", "false");
    EXPECT_FALSE(awaitTask(
        manager.findExistingWindow(QStringLiteral("https://app.example.com"), Browser::edge)));
    EXPECT_EQ(recordedScripts(), QStringList{BrowserScripts::findTab(
                                     Browser::edge, QStringLiteral("app.example.com"))});
}

TEST_F(AppleScriptBackendTest, FindWithChromeNotRunningReturnsFalseWithoutStartingChrome)
{
    // The script's own "if not running then return false" answers before anything could
    // address (and so launch) Chrome; nothing else is run afterwards.
    qputenv("WISP_OSASCRIPT_STDOUT", "false");
    EXPECT_FALSE(awaitTask(manager.findExistingWindow(localAddress, Browser::chrome)));
    const QStringList sent = recordedScripts();
    ASSERT_EQ(sent.size(), 1);
    EXPECT_TRUE(sent[0].startsWith(QStringLiteral("tell application \"Google Chrome\"\n"
                                                  "    if not running then return false\n")));
    EXPECT_FALSE(sent[0].contains(QStringLiteral("make new window")));
    EXPECT_TRUE(recordedLaunches().isEmpty());
}

TEST_F(AppleScriptBackendTest, AddressWithQuoteAndBackslashIsEscapedInTheScript)
{
    const QString address = QStringLiteral("http://localhost:3000/?q=\"x\\y\"");
    awaitTask(manager.openIncognito(address, Browser::chrome));
    ASSERT_EQ(recordedScripts().size(), 1);
    EXPECT_EQ(recordedScripts()[0],
              QStringLiteral("tell application \"Google Chrome\"\n"
                             "    activate\n"
                             "    set incognitoWindow to make new window with properties "
                             "{mode:\"incognito\"}\n"
                             "    set URL of active tab of incognitoWindow to "
                             "\"http://localhost:3000/?q=\\\"x\\\\y\\\"\"\n"
                             "end tell"));
}

TEST_F(AppleScriptBackendTest, EdgePrivateWindowScript)
{
    awaitTask(manager.openIncognito(localAddress, Browser::edge));
    EXPECT_EQ(recordedScripts(),
              QStringList{BrowserScripts::openPrivateWindow(Browser::edge, localAddress)});
}

TEST_F(AppleScriptBackendTest, ActivateAutoRunsTheDefaultBrowsersActivateScript)
{
    locator->defaultIdentifier = QStringLiteral("com.microsoft.edgemac");
    awaitTask(manager.activateBrowser(Browser::auto_));
    EXPECT_EQ(recordedScripts(), QStringList{QStringLiteral("tell application \"Microsoft Edge\"\n"
                                                            "    activate\n"
                                                            "end tell")});
}

TEST_F(AppleScriptBackendTest, AutoWithNoneInstalledFailsAsChrome)
{
    locator->defaultIdentifier = QStringLiteral("com.apple.Safari");
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR",
            "0:40: execution error: Google Chrome got an error: Application isn’t running. "
            "(-1728)");
    const auto error = errorOf<BrowserError>(manager.openIncognito(localAddress, Browser::auto_));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, BrowserError::browserNotFound(Browser::chrome));
    EXPECT_TRUE(recordedScripts().value(0).startsWith(
        QStringLiteral("tell application \"Google Chrome\"")));
}

TEST_F(AppleScriptBackendTest, ScriptErrorsBecomeBrowserErrors)
{
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR",
            "141:169: execution error: Not authorized to send Apple events to Google Chrome. "
            "(-1743)");
    EXPECT_EQ(errorOf<BrowserError>(manager.activateBrowser(Browser::chrome)),
              BrowserError::browserNotFound(Browser::chrome));

    qputenv("WISP_OSASCRIPT_STDERR", "1:2: execution error: Nope. (-10006)");
    EXPECT_EQ(errorOf<BrowserError>(manager.findExistingWindow(localAddress, Browser::edge)),
              BrowserError::permissionDenied(Browser::edge));

    qputenv("WISP_OSASCRIPT_STDERR", "1:2: execution error: Odd.");
    EXPECT_EQ(errorOf<BrowserError>(manager.reloadPage(Browser::chrome)),
              BrowserError::scriptFailed(Browser::chrome, QStringLiteral("Odd.")));
}

TEST_F(AppleScriptBackendTest, RunnerThatCannotStartFailsToCreateTheScript)
{
    BrowserManager broken(std::make_shared<AppleScriptBrowserBackend>(
        std::make_shared<OsascriptRunner>(QStringLiteral("/nonexistent/osascript"))));
    const auto error = errorOf<BrowserError>(broken.activateBrowser(Browser::chrome));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, BrowserError::scriptFailed(Browser::chrome,
                                                 QStringLiteral("Failed to create script")));
    EXPECT_EQ(error->errorDescription(),
              QStringLiteral("Failed to control Chrome: Failed to create script"));
}

TEST_F(AppleScriptBackendTest, FirefoxPrivateWindowLaunchesThroughOpen)
{
    const QString address = QStringLiteral("http://localhost:3000/?q=\"x\\y\"");
    awaitTask(manager.openIncognito(address, Browser::firefox));
    EXPECT_TRUE(recordedScripts().isEmpty());
    EXPECT_EQ(recordedLaunches(),
              (QList<QStringList>{{QStringLiteral("-na"), QStringLiteral("Firefox"),
                                   QStringLiteral("--args"), QStringLiteral("-private-window"),
                                   address}}));
}

TEST_F(AppleScriptBackendTest, FirefoxLaunchThatExitsNonZeroIsBrowserNotFound)
{
    qputenv("WISP_STANDIN_EXIT", "1");
    const auto error = errorOf<BrowserError>(manager.openIncognito(localAddress, Browser::firefox));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, BrowserError::browserNotFound(Browser::firefox));
    EXPECT_EQ(error->errorDescription(), QStringLiteral("Firefox is not installed"));
}

TEST_F(AppleScriptBackendTest, FirefoxLaunchToolThatCannotStartIsScriptFailed)
{
    BrowserManager broken(
        std::make_shared<AppleScriptBrowserBackend>(nullptr, QStringLiteral("/nonexistent/open")));
    const auto error = errorOf<BrowserError>(broken.openIncognito(localAddress, Browser::firefox));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->errorCase(), BrowserError::Case::scriptFailed);
    EXPECT_EQ(error->browser(), Browser::firefox);
    EXPECT_FALSE(error->message().isEmpty());
    EXPECT_EQ(error->errorDescription(),
              QStringLiteral("Failed to control Firefox: ") + error->message());
}

TEST_F(AppleScriptBackendTest, FirefoxLaunchToolPastItsDeadlineFailsAsALaunchThatCannotStart)
{
    qputenv("WISP_STANDIN_STAY", "1");
    BrowserManager impatient(std::make_shared<AppleScriptBrowserBackend>(
        nullptr, TestSupport::fixturePath(QStringLiteral("record-arguments")),
        std::chrono::milliseconds(500)));
    LogCapture log;
    const auto error =
        errorOf<BrowserError>(impatient.openIncognito(localAddress, Browser::firefox));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, BrowserError::scriptFailed(Browser::firefox,
                                                 QStringLiteral("open timed out after 0.5 s")));
    EXPECT_EQ(error->errorDescription(),
              QStringLiteral("Failed to control Firefox: open timed out after 0.5 s"));
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                               "⚠️ [AppleScriptBrowserBackend] open timed out after 0.5 s")});
}

TEST_F(AppleScriptBackendTest, StuckOsascriptFailsAsOneThatCannotStart)
{
    qputenv("WISP_OSASCRIPT_SLEEP", "86392");
    BrowserManager impatient(std::make_shared<AppleScriptBrowserBackend>(
        std::make_shared<OsascriptRunner>(TestSupport::fixturePath(QStringLiteral("osascript")),
                                          std::chrono::milliseconds(500))));
    LogCapture log;
    const auto error = errorOf<BrowserError>(impatient.activateBrowser(Browser::chrome));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, BrowserError::scriptFailed(Browser::chrome,
                                                 QStringLiteral("Failed to create script")));
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                               "⚠️ [OsascriptRunner] osascript timed out after 0.5 s")});
}

TEST_F(AppleScriptBackendTest, RunningFirefoxIsOnlyBroughtForwardInFindMode)
{
    // Whatever its tabs show, a running Firefox answers true.
    qputenv("WISP_OSASCRIPT_STDOUT", "true");
    awaitTask(openInFindMode(&manager, localAddress, Browser::firefox));
    EXPECT_EQ(recordedScripts(), QStringList{QStringLiteral("tell application \"Firefox\"\n"
                                                            "    if not running then return false\n"
                                                            "    activate\n"
                                                            "    return true\n"
                                                            "end tell")});
    EXPECT_TRUE(recordedLaunches().isEmpty());
}

TEST_F(AppleScriptBackendTest, FirefoxNotRunningGetsAPrivateWindowInFindMode)
{
    qputenv("WISP_OSASCRIPT_STDOUT", "false");
    awaitTask(openInFindMode(&manager, localAddress, Browser::firefox));
    EXPECT_EQ(recordedScripts().size(), 1);
    EXPECT_EQ(recordedLaunches(),
              (QList<QStringList>{{QStringLiteral("-na"), QStringLiteral("Firefox"),
                                   QStringLiteral("--args"), QStringLiteral("-private-window"),
                                   localAddress}}));
}

TEST_F(AppleScriptBackendTest, ReloadAutoSendsTheFirefoxKeystrokeScript)
{
    locator->defaultIdentifier = QStringLiteral("com.google.Chrome");
    LogCapture log;
    awaitTask(manager.reloadPage(Browser::auto_));
    EXPECT_EQ(recordedScripts(), QStringList{BrowserScripts::reload(Browser::firefox)});
    EXPECT_EQ(log.printed(),
              QStringList{QStringLiteral(
                  "ℹ️ Firefox reload uses keystroke simulation - may be less reliable")});
}

TEST_F(AppleScriptBackendTest, ReloadAutoFailureReportsAsFirefox)
{
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR",
            "95:130: execution error: System Events got an error: osascript is not allowed to "
            "send keystrokes. (1002)");
    const auto error = errorOf<BrowserError>(manager.reloadPage(Browser::auto_));
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->errorDescription(),
              QStringLiteral("Failed to control Firefox: System Events got an error: osascript "
                             "is not allowed to send keystrokes."));
}

TEST_F(AppleScriptBackendTest, ReloadChromeScript)
{
    awaitTask(manager.reloadPage(Browser::chrome));
    EXPECT_EQ(recordedScripts(),
              QStringList{QStringLiteral("tell application \"Google Chrome\"\n"
                                         "    reload active tab of front window\n"
                                         "end tell")});
}
