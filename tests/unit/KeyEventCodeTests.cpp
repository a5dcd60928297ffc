#include "HotKey/KeyEventCode.h"

#include "HotKey/Key.h"

#include <QKeyEvent>

#include <gtest/gtest.h>

#include <optional>

namespace {

std::optional<std::uint32_t> code(int qtKey, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    return KeyEventCode::fromQtKey(qtKey, modifiers);
}

} // namespace

TEST(KeyEventCode, LettersDigitsAndFunctionKeysFromQtKeys)
{
    EXPECT_EQ(code(Qt::Key_A), 0u);
    EXPECT_EQ(code(Qt::Key_L), 37u);
    EXPECT_EQ(code(Qt::Key_Z), 6u);
    EXPECT_EQ(code(Qt::Key_0), 29u);
    EXPECT_EQ(code(Qt::Key_5), 23u);
    EXPECT_EQ(code(Qt::Key_F1), 122u);
    EXPECT_EQ(code(Qt::Key_F20), 90u);
}

TEST(KeyEventCode, EveryLetterAndDigitMatchesItsKey)
{
    for (int offset = 0; offset < 26; ++offset) {
        EXPECT_EQ(code(Qt::Key_A + offset),
                  Key(static_cast<Key::Value>(Key::a + offset)).carbonKeyCode());
    }
    for (int offset = 0; offset < 10; ++offset) {
        EXPECT_EQ(code(Qt::Key_0 + offset),
                  Key(static_cast<Key::Value>(Key::zero + offset)).carbonKeyCode());
        EXPECT_EQ(code(Qt::Key_0 + offset, Qt::KeypadModifier),
                  Key(static_cast<Key::Value>(Key::keypad0 + offset)).carbonKeyCode());
    }
}

TEST(KeyEventCode, PunctuationAndItsShiftedCharactersNameTheSameKey)
{
    EXPECT_EQ(code(Qt::Key_Backslash), 42u);
    EXPECT_EQ(code(Qt::Key_Bar), 42u);
    EXPECT_EQ(code(Qt::Key_QuoteLeft), 50u);
    EXPECT_EQ(code(Qt::Key_AsciiTilde), 50u);
    EXPECT_EQ(code(Qt::Key_Equal), 24u);
    EXPECT_EQ(code(Qt::Key_Plus), 24u);
    EXPECT_EQ(code(Qt::Key_Exclam), 18u);
    EXPECT_EQ(code(Qt::Key_ParenRight), 29u);
}

TEST(KeyEventCode, KeypadModifierPicksTheKeypadKeys)
{
    EXPECT_EQ(code(Qt::Key_Plus, Qt::KeypadModifier), 69u);
    EXPECT_EQ(code(Qt::Key_Asterisk, Qt::KeypadModifier), 67u);
    EXPECT_EQ(code(Qt::Key_Enter, Qt::KeypadModifier), 76u);
    EXPECT_EQ(code(Qt::Key_Asterisk), 28u);
}

TEST(KeyEventCode, NamedKeys)
{
    EXPECT_EQ(code(Qt::Key_Space), 49u);
    EXPECT_EQ(code(Qt::Key_Tab), 48u);
    EXPECT_EQ(code(Qt::Key_Backtab), 48u);
    EXPECT_EQ(code(Qt::Key_Return), 36u);
    EXPECT_EQ(code(Qt::Key_Escape), 53u);
    EXPECT_EQ(code(Qt::Key_Backspace), 51u);
    EXPECT_EQ(code(Qt::Key_Delete), 117u);
    EXPECT_EQ(code(Qt::Key_Left), 123u);
    EXPECT_EQ(code(Qt::Key_PageDown), 121u);
}

TEST(KeyEventCode, KeysWithoutACarbonCodeGiveNone)
{
    EXPECT_EQ(code(Qt::Key_unknown), std::nullopt);
    EXPECT_EQ(code(0), std::nullopt);
    EXPECT_EQ(code(Qt::Key_Launch0), std::nullopt);
    EXPECT_EQ(code(0x416), std::nullopt); // a Cyrillic letter
}

TEST(KeyEventCode, EventWithoutNativeKeyFallsBackToQtsKey)
{
    const QKeyEvent event(QEvent::KeyPress, Qt::Key_K, Qt::ControlModifier);
    EXPECT_EQ(KeyEventCode::carbonKeyCode(event), 40u);
}

TEST(KeyEventCode, ModifierKeysOnTheirOwnAreRecognised)
{
    for (const int key : {Qt::Key_Control, Qt::Key_Shift, Qt::Key_Alt, Qt::Key_Meta,
                          Qt::Key_CapsLock, Qt::Key_Super_L, Qt::Key_AltGr}) {
        const QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        EXPECT_TRUE(KeyEventCode::isModifierKey(event)) << key;
    }
    const QKeyEvent letter(QEvent::KeyPress, Qt::Key_L, Qt::ControlModifier);
    EXPECT_FALSE(KeyEventCode::isModifierKey(letter));
}
