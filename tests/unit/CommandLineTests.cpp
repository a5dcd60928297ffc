#include "App/CommandLine.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(CommandLineTest, WithoutOptionsTheApplicationStarts)
{
    EXPECT_EQ(CommandLine::handle({QStringLiteral("wisp")}), std::nullopt);
}

TEST(CommandLineTest, QtsOwnOptionsAreLeftToTheApplication)
{
    // Whole words after one dash: "-reverse" holds a "v" and "-stylesheet" an "h".
    EXPECT_EQ(CommandLine::handle({QStringLiteral("wisp"), QStringLiteral("-platform"),
                                   QStringLiteral("offscreen"), QStringLiteral("-reverse"),
                                   QStringLiteral("-stylesheet"), QStringLiteral("a.qss")}),
              std::nullopt);
}

TEST(CommandLineTest, HelpAndVersionEndTheProgramSuccessfully)
{
    for (const QString& option : {QStringLiteral("--help"), QStringLiteral("-h"),
                                  QStringLiteral("--version"), QStringLiteral("-v")}) {
        testing::internal::CaptureStdout();
        const std::optional<int> exitCode = CommandLine::handle({QStringLiteral("wisp"), option});
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(exitCode, 0) << option.toStdString();
        const QString expected =
            option.contains(u'h') ? CommandLine::helpText() : CommandLine::versionText();
        EXPECT_EQ(QString::fromStdString(printed), expected) << option.toStdString();
    }
}

TEST(CommandLineTest, VersionIsTheProjectVersion)
{
    EXPECT_EQ(CommandLine::versionText(), QStringLiteral("wisp " WISP_TEST_VERSION "\n"));
    EXPECT_TRUE(
        CommandLine::helpText().startsWith(QStringLiteral("Usage: wisp [--help | --version]\n")));
    EXPECT_TRUE(CommandLine::helpText().contains(QStringLiteral("  -v, --version")));
}

TEST(CommandLineTest, PollingIntervalIsReadFromItsHiddenOption)
{
    EXPECT_EQ(CommandLine::pollingInterval({QStringLiteral("wisp")}), std::nullopt);
    EXPECT_EQ(CommandLine::pollingInterval(
                  {QStringLiteral("wisp"), QStringLiteral("--polling-interval-ms=150")}),
              std::chrono::milliseconds(150));
    EXPECT_EQ(CommandLine::pollingInterval(
                  {QStringLiteral("wisp"), QStringLiteral("-platform"), QStringLiteral("xcb"),
                   QStringLiteral("--polling-interval-ms"), QStringLiteral("40")}),
              std::chrono::milliseconds(40));
    for (const QString& value :
         {QStringLiteral("0"), QStringLiteral("-5"), QStringLiteral("fast"), QString()}) {
        EXPECT_EQ(CommandLine::pollingInterval(
                      {QStringLiteral("wisp"), QStringLiteral("--polling-interval-ms=") + value}),
                  std::nullopt)
            << value.toStdString();
    }
}

TEST(CommandLineTest, PollingIntervalOptionNeitherEndsTheProgramNorShowsInTheHelp)
{
    EXPECT_EQ(CommandLine::handle({QStringLiteral("wisp"), QStringLiteral("--polling-interval-ms"),
                                   QStringLiteral("100")}),
              std::nullopt);
    EXPECT_FALSE(CommandLine::helpText().contains(QStringLiteral("polling")));
}
