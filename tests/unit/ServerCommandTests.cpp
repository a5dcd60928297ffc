#include "Managers/ServerManager.h"
#include "Platform/SystemTools.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

namespace {

struct SplitCase
{
    const char* name;
    QString command;
    QStringList arguments;
};

void PrintTo(const SplitCase& splitCase, std::ostream* os)
{
    *os << splitCase.name;
}

class ParseCommandTest : public ::testing::TestWithParam<SplitCase>
{};

} // namespace

TEST(ParseCommand, SplitsAPlainCommandAtSpaces)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral("npm run dev")),
              (QStringList{"npm", "run", "dev"}));
}

TEST(ParseCommand, SingleQuotesGroupAndAreDropped)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral("npm run dev -- --host '0.0.0.0'")),
              (QStringList{"npm", "run", "dev", "--", "--host", "0.0.0.0"}));
}

TEST(ParseCommand, DoubleQuotesInsideSingleQuotesAreOrdinaryCharacters)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral(R"(echo 'say "hi" now')")),
              (QStringList{"echo", R"(say "hi" now)"}));
}

TEST(ParseCommand, SingleQuotesInsideDoubleQuotesAreOrdinaryCharacters)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral(R"(echo "it's here")")),
              (QStringList{"echo", "it's here"}));
}

TEST(ParseCommand, QuotesDoNotSplitWords)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral("--title='My App'")),
              (QStringList{"--title=My App"}));
}

TEST(ParseCommand, EmptyAndBlankCommandsGiveNoArguments)
{
    EXPECT_TRUE(ServerManager::parseCommand(QString()).isEmpty());
    EXPECT_TRUE(ServerManager::parseCommand(QStringLiteral("   ")).isEmpty());
    EXPECT_TRUE(ServerManager::parseCommand(QStringLiteral(" \n\t \r\n ")).isEmpty());
}

TEST(ParseCommand, LeadingAssignmentsStayWordsForEnv)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral("PORT=4000 npm start")),
              (QStringList{"PORT=4000", "npm", "start"}));
}

TEST(ParseCommand, ShellOperatorsAreOrdinaryWords)
{
    EXPECT_EQ(ServerManager::parseCommand(QStringLiteral("cd app && npm start | tee log")),
              (QStringList{"cd", "app", "&&", "npm", "start", "|", "tee", "log"}));
}

TEST_P(ParseCommandTest, SplitsTrickyInput)
{
    EXPECT_EQ(ServerManager::parseCommand(GetParam().command), GetParam().arguments);
}

INSTANTIATE_TEST_SUITE_P(
    TrickyInputs, ParseCommandTest,
    ::testing::Values(
        SplitCase{"SurroundingWhiteSpaceIsTrimmed", "  \t npm   start \n", {"npm", "start"}},
        SplitCase{"TabsAndLineBreaksSeparate", "a\t\tb\nc\r\nd", {"a", "b", "c", "d"}},
        SplitCase{"EmptyDoubleQuotesGiveNoArgument", R"(x "" y)", {"x", "y"}},
        SplitCase{"EmptySingleQuotesGiveNoArgument", "x '' y", {"x", "y"}},
        SplitCase{"OnlyEmptyQuotes", R"('' "")", {}},
        SplitCase{"EmptyQuotesInsideAWordVanish", R"(a""b)", {"ab"}},
        SplitCase{"QuotedStretchJoinsTheFollowingText", R"("a b"c)", {"a bc"}},
        SplitCase{"WhiteSpaceInsideQuotesIsKept",
                  R"(echo "  two  spaces  ")",
                  {"echo", "  two  spaces  "}},
        SplitCase{"LineBreakInsideQuotesIsKept", "echo 'a\nb'", {"echo", "a\nb"}},
        SplitCase{"UnclosedDoubleQuoteRunsToTheEnd", R"(echo "a  b)", {"echo", "a  b"}},
        SplitCase{"UnclosedSingleQuoteRunsToTheEnd", "echo it's fine", {"echo", "its fine"}},
        SplitCase{"TrailingWhiteSpaceOfAnUnclosedQuoteIsTrimmedFirst", "echo 'a  ", {"echo", "a"}},
        SplitCase{"LoneDoubleQuoteInSingleQuotes", R"('"')", {R"(")"}},
        SplitCase{"LoneSingleQuoteInDoubleQuotes", R"("'")", {"'"}},
        SplitCase{"AlternatingQuoteKinds", R"('a"b'"c'd")", {R"(a"bc'd)"}},
        SplitCase{"BackslashIsNotAnEscape", R"(a\ b)", {R"(a\)", "b"}},
        SplitCase{"BackslashBeforeAQuoteDoesNotEscapeIt", R"(a\"b c")", {R"(a\b c)"}},
        SplitCase{"NoExpansionOrGlobbing",
                  "echo $HOME ~ *.js $(pwd)",
                  {"echo", "$HOME", "~", "*.js", "$(pwd)"}},
        SplitCase{"NoBreakSpaceSeparates", QStringLiteral("a\u00A0b"), {"a", "b"}},
        SplitCase{"IdeographicSpaceSeparates", QStringLiteral("a\u3000b"), {"a", "b"}},
        SplitCase{"NonAsciiWordsStayWhole",
                  QStringLiteral("echo h\u00E9llo 'w\u00F6rld x'"),
                  {"echo", QStringLiteral("h\u00E9llo"), QStringLiteral("w\u00F6rld x")}},
        SplitCase{"AssignmentWithQuotedValue",
                  R"(NODE_OPTIONS="--max-old-space-size=4096 -r x" npm start)",
                  {"NODE_OPTIONS=--max-old-space-size=4096 -r x", "npm", "start"}}),
    [](const ::testing::TestParamInfo<SplitCase>& info) { return std::string(info.param.name); });

namespace {

// The platform's lsof options as they appear in the kill scripts: " -w" on Linux, nothing on
// macOS.
QString scriptOptions()
{
    QString options;
    for (const QString& option : SystemTools::lsofOptions()) {
        options += QLatin1Char(' ') + option;
    }
    return options;
}

} // namespace

TEST(PortQuery, AsksForTcpListenersOnThePortAsBareProcessIds)
{
    const QStringList expected =
        SystemTools::lsofOptions() + QStringList{"-i", ":5173", "-sTCP:LISTEN", "-t"};
    EXPECT_EQ(ServerManager::portQueryArguments(5173), expected);
}

TEST(KillScripts, PoliteScriptTextIsExactForMacOsLsof)
{
    const QString expected = QStringLiteral("    PIDS=$(/usr/sbin/lsof") + scriptOptions() +
                             QStringLiteral(R"( -ti:3000 -sTCP:LISTEN 2>/dev/null)
    if [ -n "$PIDS" ]; then
        echo "Found PIDs: $PIDS"
        for PID in $PIDS; do
            # Try to kill process group (includes child processes like node)
            PGID=$(ps -o pgid= -p $PID 2>/dev/null | tr -d ' ')
            if [ -n "$PGID" ] && [ "$PGID" != "0" ]; then
                kill -TERM -$PGID 2>/dev/null || kill -TERM $PID 2>/dev/null
            else
                kill -TERM $PID 2>/dev/null
            fi
        done
    else
        echo "No processes found on port 3000"
    fi)");
    EXPECT_EQ(ServerManager::politeKillScript(3000, QStringLiteral("/usr/sbin/lsof")), expected);
}

TEST(KillScripts, ForcefulScriptTextIsExactForMacOsLsof)
{
    const QString expected = QStringLiteral("    PIDS=$(/usr/sbin/lsof") + scriptOptions() +
                             QStringLiteral(R"( -ti:3000 -sTCP:LISTEN 2>/dev/null)
    if [ -n "$PIDS" ]; then
        for PID in $PIDS; do
            # Kill process group first, then individual PID
            PGID=$(ps -o pgid= -p $PID 2>/dev/null | tr -d ' ')
            if [ -n "$PGID" ] && [ "$PGID" != "0" ]; then
                kill -9 -$PGID 2>/dev/null || kill -9 $PID 2>/dev/null
            else
                kill -9 $PID 2>/dev/null
            fi
        done
    fi)");
    EXPECT_EQ(ServerManager::forcefulKillScript(3000, QStringLiteral("/usr/sbin/lsof")), expected);
}

TEST(KillScripts, PortAppearsInBothPlacesOfThePoliteScript)
{
    const QString script = ServerManager::politeKillScript(51730, QStringLiteral("/usr/sbin/lsof"));
    EXPECT_TRUE(script.startsWith(QStringLiteral("    PIDS=$(/usr/sbin/lsof") + scriptOptions() +
                                  QStringLiteral(" -ti:51730 -sTCP:LISTEN 2>/dev/null)\n")));
    EXPECT_TRUE(script.endsWith(
        QStringLiteral("        echo \"No processes found on port 51730\"\n    fi")));
    EXPECT_FALSE(script.contains(QStringLiteral("3000")));
}

TEST(KillScripts, ScriptsRunThePlatformsLsof)
{
    const QString lsof = SystemTools::lsof();
    const QString head = QStringLiteral("    PIDS=$(") + lsof + scriptOptions() +
                         QStringLiteral(" -ti:8080 -sTCP:LISTEN 2>/dev/null)\n");
    EXPECT_TRUE(ServerManager::politeKillScript(8080, lsof).startsWith(head));
    EXPECT_TRUE(ServerManager::forcefulKillScript(8080, lsof).startsWith(head));
    EXPECT_EQ(SystemTools::defaultLsof(), lsof);
}
