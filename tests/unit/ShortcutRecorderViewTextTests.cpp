#include "Views/ShortcutRecorderView.h"

#include "HotKey/ShortcutText.h"
#include "support/QtPrinters.h"

#include <gtest/gtest.h>

#include <map>

namespace {

QString shown(const QString& symbols, const QString& words)
{
    return ShortcutText::platformStyle() == ShortcutText::Style::symbols ? symbols : words;
}

const std::map<std::uint32_t, QString>& table()
{
    static const std::map<std::uint32_t, QString> entries = {
        {0, "A"},   {1, "S"},  {2, "D"},  {3, "F"},  {4, "H"},  {5, "G"},  {6, "Z"},  {7, "X"},
        {8, "C"},   {9, "V"},  {11, "B"}, {12, "Q"}, {13, "W"}, {14, "E"}, {15, "R"}, {16, "Y"},
        {17, "T"},  {18, "1"}, {19, "2"}, {20, "3"}, {21, "4"}, {22, "6"}, {23, "5"}, {24, "="},
        {25, "9"},  {26, "7"}, {27, "-"}, {28, "8"}, {29, "0"}, {30, "]"}, {31, "O"}, {32, "U"},
        {33, "["},  {34, "I"}, {35, "P"}, {37, "L"}, {38, "J"}, {39, "'"}, {40, "K"}, {41, ";"},
        {42, "\\"}, {43, ","}, {44, "/"}, {45, "N"}, {46, "M"}, {47, "."}, {50, "`"},
    };
    return entries;
}

} // namespace

TEST(ShortcutRecorderViewText, KeyCodeToStringHasExactlyTheFortySevenEntries)
{
    ASSERT_EQ(table().size(), 47u);
    for (const auto& [code, text] : table()) {
        EXPECT_EQ(ShortcutRecorderView::keyCodeToString(code), text) << code;
    }
    EXPECT_EQ(ShortcutRecorderView::keyCodeToString(42), QString(QChar(0x5C)));
    EXPECT_EQ(ShortcutRecorderView::keyCodeToString(50), QString(QChar(0x60)));
}

TEST(ShortcutRecorderViewText, EveryOtherCodeHasNoText)
{
    for (std::uint32_t code = 0; code < 512; ++code) {
        if (!table().count(code)) {
            EXPECT_TRUE(ShortcutRecorderView::keyCodeToString(code).isEmpty()) << code;
        }
    }
    EXPECT_TRUE(ShortcutRecorderView::keyCodeToString(0xFFFFFFFF).isEmpty());
}

TEST(ShortcutRecorderViewText, DisplayStringIsTheModifiersFollowedByTheKeyText)
{
    EXPECT_EQ(ShortcutRecorderView::displayString(37, 0x1800), shown("⌃⌥L", "Ctrl+Alt+L"));
    EXPECT_EQ(ShortcutRecorderView::displayString(37, 0x1B00),
              shown("⌃⌥⇧⌘L", "Ctrl+Alt+Shift+Super+L"));
    EXPECT_EQ(ShortcutRecorderView::displayString(42, 0x1000), shown("⌃\\", "Ctrl+\\"));
}

TEST(ShortcutRecorderViewText, DisplayStringOfAKeyWithoutTextShowsOnlyTheModifiers)
{
    // F1 (122), Space (49) and Return (36) are not in the table.
    EXPECT_EQ(ShortcutRecorderView::displayString(122, 0x1800), shown("⌃⌥", "Ctrl+Alt"));
    EXPECT_EQ(ShortcutRecorderView::displayString(49, 0x100), shown("⌘", "Super"));
    EXPECT_EQ(ShortcutRecorderView::displayString(36, 0x200), shown("⇧", "Shift"));
}
