#include "HotKey/Key.h"
#include "HotKey/KeyCombo.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/portal/PortalTrigger.h"
#include "HotKey/portal/WaylandSession.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

TEST(PortalTrigger, DefaultShortcutReadsAsTheShortcutsStandardWritesIt)
{
    EXPECT_EQ(PortalTrigger::fromKeyCombo(KeyCombo(37, 0x1800)), QStringLiteral("CTRL+ALT+l"));
}

TEST(PortalTrigger, ModifiersComeInFixedOrderBeforeTheKeySymbol)
{
    EXPECT_EQ(PortalTrigger::fromKeyCombo(
                  KeyCombo(Key::f1, ModifierFlags::command | ModifierFlags::shift |
                                        ModifierFlags::control | ModifierFlags::option)),
              QStringLiteral("CTRL+ALT+SHIFT+LOGO+F1"));
    EXPECT_EQ(PortalTrigger::fromKeyCombo(KeyCombo(Key::return_, ModifierFlags::command)),
              QStringLiteral("LOGO+Return"));
}

TEST(PortalTrigger, KeyWithoutSymbolGivesNoTrigger)
{
    EXPECT_TRUE(PortalTrigger::fromKeyCombo(KeyCombo(52, 0x1800)).isEmpty());
}

TEST(WaylandSession, SessionTypeOrWaylandDisplayMeansWayland)
{
    QProcessEnvironment wayland;
    wayland.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("wayland"));
    EXPECT_TRUE(WaylandSession::isActive(wayland, QStringLiteral("wayland")));
    EXPECT_TRUE(WaylandSession::isActive(wayland, QStringLiteral("xcb")));

    QProcessEnvironment display;
    display.insert(QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-0"));
    EXPECT_TRUE(WaylandSession::isActive(display, QStringLiteral("wayland")));
}

TEST(WaylandSession, X11SessionAndDisplaylessPlatformsAreNot)
{
    QProcessEnvironment x11;
    x11.insert(QStringLiteral("XDG_SESSION_TYPE"), QStringLiteral("x11"));
    x11.insert(QStringLiteral("DISPLAY"), QStringLiteral(":0"));
    EXPECT_FALSE(WaylandSession::isActive(x11, QStringLiteral("xcb")));

    QProcessEnvironment wayland;
    wayland.insert(QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("wayland-0"));
    EXPECT_FALSE(WaylandSession::isActive(wayland, QStringLiteral("offscreen")));
}
