#include "Utilities/OutputLines.h"
#include "Utilities/ServerOutputLog.h"

#include "support/QtPrinters.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

using Line = OutputLines::Line;

TEST(OutputLinesTest, SplitsAtLineEndsWithoutAnEmptyLineAfterTheLast)
{
    EXPECT_EQ(OutputLines::split(QStringLiteral("one\ntwo\r\nthree\n")),
              (QStringList{QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three")}));
    EXPECT_EQ(OutputLines::split(QStringLiteral("no end")), QStringList{QStringLiteral("no end")});
    EXPECT_EQ(OutputLines::split(QStringLiteral("a\n\n  b\n")),
              (QStringList{QStringLiteral("a"), QString(), QStringLiteral("  b")}));
    EXPECT_TRUE(OutputLines::split(QString()).isEmpty());
}

TEST(OutputLinesTest, DropsColourEscapesAndKeepsTheLastVersionOfARewrittenLine)
{
    EXPECT_EQ(OutputLines::split(QStringLiteral("\x1b[31mError:\x1b[39m \x1b[1mboom\x1b[22m\n")),
              QStringList{QStringLiteral("Error: boom")});
    EXPECT_EQ(OutputLines::split(QStringLiteral("10%\r50%\r100% done\n")),
              QStringList{QStringLiteral("100% done")});
    EXPECT_EQ(OutputLines::split(QStringLiteral("\x1b]0;title\x07ready\n")),
              QStringList{QStringLiteral("ready")});
}

TEST(OutputLinesTest, KeepsTheNewestLinesOfBothStreamsInArrivalOrder)
{
    OutputLines lines(3);
    lines.append(QStringLiteral("a\nb\n"), false);
    const QList<Line> added = lines.append(QStringLiteral("c\nd\n"), true);

    EXPECT_EQ(added, (QList<Line>{{QStringLiteral("c"), true}, {QStringLiteral("d"), true}}));
    EXPECT_EQ(lines.lines(), (QList<Line>{{QStringLiteral("b"), false},
                                          {QStringLiteral("c"), true},
                                          {QStringLiteral("d"), true}}));
    EXPECT_EQ(lines.texts(),
              (QStringList{QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d")}));

    // A chunk larger than the capacity keeps its own newest lines.
    EXPECT_EQ(lines.append(QStringLiteral("1\n2\n3\n4\n5\n"), false).size(), 3);
    EXPECT_EQ(lines.texts(),
              (QStringList{QStringLiteral("3"), QStringLiteral("4"), QStringLiteral("5")}));
    lines.clear();
    EXPECT_TRUE(lines.lines().isEmpty());
}

TEST(OutputLinesTest, VeryLongLinesAreCutWithANote)
{
    OutputLines lines(2);
    lines.append(QString(5000, QLatin1Char('x')) + QStringLiteral("\nshort\n"), true);
    ASSERT_EQ(lines.lines().size(), 2);
    EXPECT_EQ(lines.lines().first().text,
              QString(1000, QLatin1Char('x')) + QStringLiteral(" … (4000 more characters)"));
    EXPECT_EQ(lines.lines().last().text, QStringLiteral("short"));
}

TEST(OutputLinesTest, BlankLinesCanBeLeftOut)
{
    OutputLines lines(5, false);
    lines.append(QStringLiteral("\n> dev\n\n   \nfailed\n"), true);
    EXPECT_EQ(lines.texts(), (QStringList{QStringLiteral("> dev"), QStringLiteral("failed")}));
}

TEST(ServerOutputLogTest, SameProjectFollowsOnAndAnotherProjectStartsAfresh)
{
    ServerOutputLog log;
    QSignalSpy resets(&log, &ServerOutputLog::reset);
    QSignalSpy titles(&log, &ServerOutputLog::titleChanged);
    EXPECT_EQ(log.title(), QStringLiteral("Server Output"));

    log.begin(QStringLiteral("web"), QStringLiteral("/p/web"), QStringLiteral("npm install"));
    log.append(QStringLiteral("added 3 packages\n"), false);
    log.begin(QStringLiteral("web"), QStringLiteral("/p/web"), QStringLiteral("npm run dev"));
    log.append(QStringLiteral("ready\n"), false);
    EXPECT_EQ(log.title(), QStringLiteral("Server Output — web (npm run dev)"));
    EXPECT_EQ(log.lines().size(), 2);
    EXPECT_EQ(resets.count(), 0);

    log.begin(QStringLiteral("api"), QStringLiteral("/p/api"), QStringLiteral("cargo run"));
    EXPECT_TRUE(log.lines().isEmpty());
    EXPECT_EQ(resets.count(), 1);
    EXPECT_EQ(titles.count(), 3);
    EXPECT_EQ(titles.last().first().toString(), QStringLiteral("Server Output — api (cargo run)"));
}

TEST(ServerOutputLogTest, HoldsAtMostFiveThousandLines)
{
    ServerOutputLog log;
    QString chunk;
    for (int line = 1; line <= 6000; ++line) {
        chunk += QStringLiteral("line %1\n").arg(line);
    }
    log.append(chunk, false);
    ASSERT_EQ(log.lines().size(), 5000);
    EXPECT_EQ(log.lines().first().text, QStringLiteral("line 1001"));
    EXPECT_EQ(log.lines().last().text, QStringLiteral("line 6000"));
}
