#include "HotKey/ShortcutText.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

using Style = ShortcutText::Style;

TEST(ShortcutText, SymbolsFollowTheKeyInControlOptionShiftCommandOrder)
{
    EXPECT_EQ(ShortcutText::build(0x1800, QStringLiteral("L"), Style::symbols),
              QStringLiteral("⌃⌥L"));
    EXPECT_EQ(
        ShortcutText::build(0x100 | 0x200 | 0x800 | 0x1000, QStringLiteral("L"), Style::symbols),
        QStringLiteral("⌃⌥⇧⌘L"));
    EXPECT_EQ(ShortcutText::build(0x300, QStringLiteral("K"), Style::symbols),
              QStringLiteral("⇧⌘K"));
}

TEST(ShortcutText, WordsAreJoinedByPlusInCtrlAltShiftSuperOrder)
{
    EXPECT_EQ(ShortcutText::build(0x1800, QStringLiteral("L"), Style::words),
              QStringLiteral("Ctrl+Alt+L"));
    EXPECT_EQ(
        ShortcutText::build(0x100 | 0x200 | 0x800 | 0x1000, QStringLiteral("L"), Style::words),
        QStringLiteral("Ctrl+Alt+Shift+Super+L"));
    EXPECT_EQ(ShortcutText::build(0x1200, QStringLiteral("L"), Style::words),
              QStringLiteral("Ctrl+Shift+L"));
    // Command is the Super key.
    EXPECT_EQ(ShortcutText::build(0x1300, QStringLiteral("L"), Style::words),
              QStringLiteral("Ctrl+Shift+Super+L"));
    EXPECT_EQ(ShortcutText::build(0x100, QStringLiteral("0"), Style::words),
              QStringLiteral("Super+0"));
}

TEST(ShortcutText, WithoutKeyTextOnlyTheModifiersShow)
{
    EXPECT_EQ(ShortcutText::build(0x1800, QString(), Style::symbols), QStringLiteral("⌃⌥"));
    EXPECT_EQ(ShortcutText::build(0x1800, QString(), Style::words), QStringLiteral("Ctrl+Alt"));
    EXPECT_EQ(ShortcutText::build(0, QString(), Style::words), QString());
}

TEST(ShortcutText, WithoutModifiersOnlyTheKeyShows)
{
    EXPECT_EQ(ShortcutText::build(0, QStringLiteral("L"), Style::symbols), QStringLiteral("L"));
    EXPECT_EQ(ShortcutText::build(0, QStringLiteral("L"), Style::words), QStringLiteral("L"));
}

TEST(ShortcutText, TheSameKeyTextsServeBothStyles)
{
    EXPECT_EQ(ShortcutText::build(0x1000, QStringLiteral("\\"), Style::words),
              QStringLiteral("Ctrl+\\"));
    EXPECT_EQ(ShortcutText::build(0x1000, QStringLiteral("`"), Style::symbols),
              QStringLiteral("⌃`"));
}

TEST(ShortcutText, BitsOtherThanTheFourModifiersAreIgnored)
{
    // alphaLock 0x400 and rightShiftKey 0x2000.
    EXPECT_EQ(ShortcutText::build(0x1800 | 0x400 | 0x2000, QStringLiteral("L"), Style::words),
              QStringLiteral("Ctrl+Alt+L"));
    EXPECT_EQ(ShortcutText::build(0x400 | 0x2000, QStringLiteral("L"), Style::symbols),
              QStringLiteral("L"));
}

TEST(ShortcutText, PlatformBuildUsesThePlatformStyle)
{
    const Style style = ShortcutText::platformStyle();
    EXPECT_EQ(ShortcutText::build(0x1800, QStringLiteral("L")),
              ShortcutText::build(0x1800, QStringLiteral("L"), style));
}
