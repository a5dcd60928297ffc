#include "HotKey/x11/X11KeyTable.h"

#include "HotKey/Key.h"
#include "HotKey/KeyEventCode.h"

#include <QKeyEvent>

#include <X11/XF86keysym.h>
#include <X11/keysym.h>

#include <gtest/gtest.h>

#include <optional>

TEST(X11KeyTableInverse, EveryKeySymbolLeadsBackToItsKeyCode)
{
    int keysWithSymbols = 0;
    for (const Key key : Key::allCases()) {
        const std::optional<unsigned long> keysym = X11KeyTable::keysym(key.carbonKeyCode());
        if (!keysym) {
            continue;
        }
        ++keysWithSymbols;
        EXPECT_EQ(X11KeyTable::carbonKeyCode(*keysym), key.carbonKeyCode()) << *keysym;
    }
    // Only the fn key has no X symbol.
    EXPECT_EQ(keysWithSymbols, Key::caseCount - 1);
}

TEST(X11KeyTableInverse, EveryCarbonCodeWithASymbolRoundTrips)
{
    for (std::uint32_t code = 0; code < 256; ++code) {
        if (const std::optional<unsigned long> keysym = X11KeyTable::keysym(code)) {
            EXPECT_EQ(X11KeyTable::carbonKeyCode(*keysym), code) << code;
        }
    }
}

TEST(X11KeyTableInverse, LettersMatchInEitherCase)
{
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_l), 37u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_L), 37u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_A), 0u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_Z), 6u);
}

TEST(X11KeyTableInverse, KeypadNavigationSymbolsNameTheirKeypadKeys)
{
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_KP_Insert), 82u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_KP_Home), 89u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_KP_Prior), 92u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_KP_Delete), 65u);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_ISO_Left_Tab), 48u);
}

TEST(X11KeyTableInverse, SymbolsOfNoKeyGiveNone)
{
    EXPECT_EQ(X11KeyTable::carbonKeyCode(0), std::nullopt);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_Cyrillic_ze), std::nullopt);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XF86XK_Calculator), std::nullopt);
    EXPECT_EQ(X11KeyTable::carbonKeyCode(XK_exclam), std::nullopt);
}

TEST(X11KeyTableInverse, EventKeySymbolIsTheNativeVirtualKey)
{
    const QKeyEvent upper(QEvent::KeyPress, Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier, 0,
                          XK_L, 0);
    EXPECT_EQ(KeyEventCode::carbonKeyCode(upper), 37u);
    const QKeyEvent function(QEvent::KeyPress, Qt::Key_F1, Qt::ControlModifier, 0, XK_F1, 0);
    EXPECT_EQ(KeyEventCode::carbonKeyCode(function), 122u);
    // The native key wins over Qt's translation of it.
    const QKeyEvent keypad(QEvent::KeyPress, Qt::Key_Home, Qt::KeypadModifier, 0, XK_KP_Home, 0);
    EXPECT_EQ(KeyEventCode::carbonKeyCode(keypad), 89u);
}

TEST(X11KeyTableInverse, UnknownKeySymbolFallsBackToQtsKey)
{
    const QKeyEvent event(QEvent::KeyPress, Qt::Key_Exclam, Qt::ControlModifier, 0, XK_exclam, 0);
    EXPECT_EQ(KeyEventCode::carbonKeyCode(event), 18u);
    const QKeyEvent unknown(QEvent::KeyPress, 0x416, Qt::ControlModifier, 0, XK_Cyrillic_ZHE, 0);
    EXPECT_EQ(KeyEventCode::carbonKeyCode(unknown), std::nullopt);
}

TEST(X11KeyTableInverse, ModifierKeySymbolsAreModifierKeys)
{
    const QKeyEvent superKey(QEvent::KeyPress, Qt::Key_unknown, Qt::MetaModifier, 0, XK_Super_L, 0);
    EXPECT_TRUE(KeyEventCode::isModifierKey(superKey));
}
