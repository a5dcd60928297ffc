#include "Platform/OsaScriptCall.h"
#include "Platform/PermissionProbes.h"

#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

TEST(PermissionProbes, AutomationProbeScriptIsExact)
{
    EXPECT_EQ(PermissionProbes::automationProbeScript(),
              QStringLiteral("    tell application \"System Events\"\n"
                             "        return name of first process\n"
                             "    end tell"));
}

TEST(PermissionProbes, AutomationTriggerScriptIsExact)
{
    EXPECT_EQ(PermissionProbes::automationTriggerScript(),
              QStringLiteral("    tell application \"System Events\"\n"
                             "        return \"\"\n"
                             "    end tell"));
}

TEST(PermissionProbes, ScriptsAreThreeLinesWithoutAFinalLineFeed)
{
    for (const QString& script :
         {PermissionProbes::automationProbeScript(), PermissionProbes::automationTriggerScript()}) {
        const QStringList lines = script.split(QLatin1Char('\n'));
        ASSERT_EQ(lines.size(), 3);
        EXPECT_FALSE(script.endsWith(QLatin1Char('\n')));
        EXPECT_TRUE(lines[0].startsWith(QStringLiteral("    t")));
        EXPECT_TRUE(lines[1].startsWith(QStringLiteral("        r")));
        EXPECT_TRUE(lines[2].startsWith(QStringLiteral("    e")));
        EXPECT_FALSE(script.contains(QLatin1Char('\t')));
        EXPECT_FALSE(script.contains(QLatin1Char('\r')));
    }
}

namespace {

// A stand-in interpreter: a shell script that saves its standard input, then runs `body`.
QString makeInterpreter(const QTemporaryDir& dir, const QByteArray& body)
{
    const QString path = dir.filePath(QStringLiteral("osascript"));
    TestSupport::writeFile(dir.path(), QStringLiteral("osascript"),
                           "#!/bin/sh\ncat > \"$(dirname \"$0\")/received\"\n" + body + "\n");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

QByteArray received(const QTemporaryDir& dir)
{
    QFile file(dir.filePath(QStringLiteral("received")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<nothing received>");
}

} // namespace

TEST(OsaScriptCall, PipesTheExactSourceAndSucceedsOnCleanExit)
{
    QTemporaryDir dir;
    const QString interpreter = makeInterpreter(dir, "echo 'Finder'; exit 0");
    EXPECT_EQ(OsaScriptCall::run(interpreter, PermissionProbes::automationProbeScript(), 30000),
              OsaScriptCall::Outcome::succeeded);
    EXPECT_EQ(received(dir), PermissionProbes::automationProbeScript().toUtf8());
}

TEST(OsaScriptCall, ScriptErrorIsAFailure)
{
    QTemporaryDir dir;
    const QString interpreter = makeInterpreter(
        dir, "echo '0:4: execution error: Not authorised to send Apple events to System Events. "
             "(-1743)' >&2; exit 1");
    EXPECT_EQ(OsaScriptCall::run(interpreter, PermissionProbes::automationTriggerScript(), 30000),
              OsaScriptCall::Outcome::failed);
    EXPECT_EQ(received(dir), PermissionProbes::automationTriggerScript().toUtf8());
}

TEST(OsaScriptCall, CrashIsAFailure)
{
    QTemporaryDir dir;
    const QString interpreter = makeInterpreter(dir, "kill -9 $$");
    EXPECT_EQ(OsaScriptCall::run(interpreter, QStringLiteral("return 1"), 30000),
              OsaScriptCall::Outcome::failed);
}

TEST(OsaScriptCall, ScriptThatNeverFinishesFailsAtTheTimeout)
{
    QTemporaryDir dir;
    const QString interpreter = makeInterpreter(dir, "exec sleep 60");
    LogCapture log;
    EXPECT_EQ(OsaScriptCall::run(interpreter, QStringLiteral("delay 60"), 500),
              OsaScriptCall::Outcome::failed);
    EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                               "⚠️ [PermissionsManager] osascript timed out after 0.5 s")});
}

TEST(OsaScriptCall, MissingInterpreterRunsNothing)
{
    QTemporaryDir dir;
    EXPECT_EQ(OsaScriptCall::run(dir.filePath(QStringLiteral("no-such-osascript")),
                                 QStringLiteral("return 1"), 30000),
              OsaScriptCall::Outcome::notStarted);
}
