#include "HotKey/ShortcutText.h"
#include "Views/ShortcutRecorderView.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

// Linux desktops write shortcuts as words.
TEST(ShortcutTextLinux, ShortcutsReadInTheDesktopsWords)
{
    EXPECT_EQ(ShortcutText::platformStyle(), ShortcutText::Style::words);
    EXPECT_EQ(ShortcutText::build(0x1800, QStringLiteral("L")), QStringLiteral("Ctrl+Alt+L"));
    EXPECT_EQ(ShortcutRecorderView::displayString(37, 0x1800), QStringLiteral("Ctrl+Alt+L"));
    EXPECT_EQ(ShortcutRecorderView::displayString(37, 0x1300),
              QStringLiteral("Ctrl+Shift+Super+L"));
}
