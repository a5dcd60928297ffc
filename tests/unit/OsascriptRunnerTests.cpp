#include "Models/BrowserError.h"
#include "Platform/OsascriptRunner.h"
#include "Platform/SystemTools.h"

#include "support/AwaitTask.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::awaitTask;

namespace {

// Runs programs through tests/fixtures/osascript, which answers as the environment says.
class OsascriptRunnerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(records.isValid());
        qputenv("WISP_OSASCRIPT_RECORD_DIR", records.path().toUtf8());
    }

    void TearDown() override
    {
        for (const char* name :
             {"WISP_OSASCRIPT_RECORD_DIR", "WISP_OSASCRIPT_STDOUT", "WISP_OSASCRIPT_STDERR",
              "WISP_OSASCRIPT_EXIT", "WISP_OSASCRIPT_SLEEP"}) {
            qunsetenv(name);
        }
    }

    QByteArray recorded(int index) const
    {
        QFile file(QDir(records.path()).filePath(QString::number(index) + ".applescript"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }

    QTemporaryDir records;
    OsascriptRunner runner{TestSupport::fixturePath(QStringLiteral("osascript"))};
};

} // namespace

TEST_F(OsascriptRunnerTest, DefaultsToTheSystemOsascript)
{
    EXPECT_EQ(QStringLiteral("/usr/bin/osascript"), SystemTools::osascript());
}

TEST_F(OsascriptRunnerTest, PipesTheProgramByteForByte)
{
    const QString program = QStringLiteral("tell application \"Firefox\"\n    activate\nend tell");
    const ScriptResult result = awaitTask(runner.run(program));
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(recorded(0), program.toUtf8());
}

TEST_F(OsascriptRunnerTest, ReadsTrueAndFalseResults)
{
    qputenv("WISP_OSASCRIPT_STDOUT", "true");
    ScriptResult result = awaitTask(runner.run(QStringLiteral("return true")));
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.output, QStringLiteral("true"));
    EXPECT_TRUE(result.booleanValue());

    qputenv("WISP_OSASCRIPT_STDOUT", "false");
    result = awaitTask(runner.run(QStringLiteral("return false")));
    EXPECT_TRUE(result.succeeded());
    EXPECT_FALSE(result.booleanValue());
}

TEST_F(OsascriptRunnerTest, NoResultReadsAsFalse)
{
    const ScriptResult result = awaitTask(runner.run(QStringLiteral("activate")));
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.output, QString());
    EXPECT_FALSE(result.booleanValue());
}

TEST_F(OsascriptRunnerTest, ExecutionErrorGivesNumberAndMessage)
{
    qputenv("WISP_OSASCRIPT_STDERR",
            "141:169: execution error: Not authorized to send Apple events to Google Chrome. "
            "(-1743)");
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    const ScriptResult result = awaitTask(runner.run(QStringLiteral("tell application ...")));
    EXPECT_TRUE(result.created);
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ(result.error.value(BrowserError::errorNumberKey), QVariant(-1743));
    EXPECT_EQ(result.error.value(BrowserError::errorMessageKey).toString(),
              QStringLiteral("Not authorized to send Apple events to Google Chrome."));
    EXPECT_EQ(BrowserError::from(result.error, Browser::chrome),
              BrowserError::browserNotFound(Browser::chrome));
}

TEST_F(OsascriptRunnerTest, PermissionAndTimeoutNumbersMapThroughTheErrorDictionary)
{
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR", "10:20: execution error: Not allowed. (-10006)");
    ScriptResult result = awaitTask(runner.run(QStringLiteral("x")));
    EXPECT_EQ(BrowserError::from(result.error, Browser::edge),
              BrowserError::permissionDenied(Browser::edge));

    qputenv("WISP_OSASCRIPT_STDERR",
            "0:88: execution error: Google Chrome got an error: AppleEvent timed out. (-1712)");
    result = awaitTask(runner.run(QStringLiteral("x")));
    EXPECT_EQ(BrowserError::from(result.error, Browser::chrome).errorDescription(),
              QStringLiteral("Chrome is not responding"));

    qputenv("WISP_OSASCRIPT_STDERR",
            "95:107: execution error: Google Chrome got an error: Can’t get window 1. (-1728)");
    result = awaitTask(runner.run(QStringLiteral("x")));
    EXPECT_EQ(result.error.value(BrowserError::errorMessageKey).toString(),
              QStringLiteral("Google Chrome got an error: Can’t get window 1."));
    EXPECT_EQ(BrowserError::from(result.error, Browser::chrome),
              BrowserError::browserNotFound(Browser::chrome));
}

TEST_F(OsascriptRunnerTest, SyntaxErrorIsAScriptFailureWithItsMessage)
{
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR",
            "0:4: syntax error: Expected end of line but found identifier. (-2741)");
    const ScriptResult result = awaitTask(runner.run(QStringLiteral("tell")));
    EXPECT_EQ(result.error.value(BrowserError::errorNumberKey), QVariant(-2741));
    EXPECT_EQ(BrowserError::from(result.error, Browser::chrome),
              BrowserError::scriptFailed(
                  Browser::chrome, QStringLiteral("Expected end of line but found identifier.")));
}

TEST_F(OsascriptRunnerTest, ErrorWithoutNumberReadsAsMinusOneAndScriptFailed)
{
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR", "3:9: execution error: The variable nope is not defined.");
    const ScriptResult result = awaitTask(runner.run(QStringLiteral("nope")));
    EXPECT_FALSE(result.error.contains(BrowserError::errorNumberKey));
    EXPECT_EQ(BrowserError::from(result.error, Browser::firefox),
              BrowserError::scriptFailed(Browser::firefox,
                                         QStringLiteral("The variable nope is not defined.")));
}

TEST_F(OsascriptRunnerTest, SilentFailureIsAnUnknownScriptFailure)
{
    qputenv("WISP_OSASCRIPT_EXIT", "3");
    const ScriptResult result = awaitTask(runner.run(QStringLiteral("x")));
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ(BrowserError::from(result.error, Browser::edge),
              BrowserError::scriptFailed(Browser::edge, QStringLiteral("Unknown error")));
}

TEST_F(OsascriptRunnerTest, TheLastErrorLineCounts)
{
    qputenv("WISP_OSASCRIPT_EXIT", "1");
    qputenv("WISP_OSASCRIPT_STDERR",
            "2024-01-01 osascript[1:2] some warning\n"
            "12:40: execution error: Not authorized to send Apple events to Firefox. (-1743)\n");
    const ScriptResult result = awaitTask(runner.run(QStringLiteral("x")));
    EXPECT_EQ(result.error.value(BrowserError::errorNumberKey), QVariant(-1743));
}

TEST_F(OsascriptRunnerTest, RunnerThatCannotStartIsNotCreated)
{
    OsascriptRunner missing(QStringLiteral("/nonexistent/osascript"));
    const ScriptResult result = awaitTask(missing.run(QStringLiteral("activate")));
    EXPECT_FALSE(result.created);
    EXPECT_FALSE(result.succeeded());
}

TEST_F(OsascriptRunnerTest, StuckRunnerIsStoppedLikeOneThatCannotStart)
{
    qputenv("WISP_OSASCRIPT_SLEEP", "86393");
    OsascriptRunner impatient(TestSupport::fixturePath(QStringLiteral("osascript")),
                              std::chrono::milliseconds(1000));
    LogCapture log;
    const ScriptResult result = awaitTask(impatient.run(QStringLiteral("x")));
    EXPECT_FALSE(result.created);
    EXPECT_TRUE(result.error.isEmpty());
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                               "⚠️ [OsascriptRunner] osascript timed out after 1 s")});
    // The stand-in's own `sleep` went with it.
    EXPECT_TRUE(TestSupport::waitUntil([] {
        QProcess pgrep;
        pgrep.start(QStringLiteral("pgrep"),
                    {QStringLiteral("-f"), QStringLiteral("^sleep 86393$")});
        return pgrep.waitForFinished(30000) && pgrep.exitCode() == 1;
    }));
}

TEST(OsascriptParseTest, ParsesTheStandardErrorLine)
{
    const QVariantMap error = OsascriptRunner::parseError(
        QStringLiteral("141:169: execution error: Not authorized to send Apple events to "
                       "Google Chrome. (-1743)\n"));
    EXPECT_EQ(error.value(BrowserError::errorNumberKey), QVariant(-1743));
    EXPECT_EQ(error.value(BrowserError::errorMessageKey).toString(),
              QStringLiteral("Not authorized to send Apple events to Google Chrome."));
    EXPECT_TRUE(OsascriptRunner::parseError(QString()).isEmpty());
    EXPECT_TRUE(OsascriptRunner::parseError(QStringLiteral("\n  \n")).isEmpty());
    const QVariantMap bare = OsascriptRunner::parseError(QStringLiteral("osascript: broken"));
    EXPECT_FALSE(bare.contains(BrowserError::errorNumberKey));
    EXPECT_EQ(bare.value(BrowserError::errorMessageKey).toString(),
              QStringLiteral("osascript: broken"));
}
