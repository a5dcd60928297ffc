#include <QGuiApplication>
#include <QSystemTrayIcon>

#include <gtest/gtest.h>

// The end-to-end main puts every test on a private display with a tray; check that it did.
TEST(XvfbSession, TestsRunOnAnXDisplayWithASystemTray)
{
    EXPECT_EQ(QGuiApplication::platformName(), QStringLiteral("xcb"));
    EXPECT_FALSE(qEnvironmentVariable("DISPLAY").isEmpty());
    EXPECT_TRUE(QSystemTrayIcon::isSystemTrayAvailable());
}
