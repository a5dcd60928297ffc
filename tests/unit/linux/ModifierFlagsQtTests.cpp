#include "HotKey/ModifierFlags.h"

#include "support/QtPrinters.h"

#include <QKeySequence>

#include <gtest/gtest.h>

#include <array>

// On X11 the hot key backend grabs Control, Alt (Mod1), Shift and Super (Mod4), which Qt names
// Control, Alt, Shift and Meta.
namespace {

constexpr std::array<ModifierFlags::Flag, 4> flags = {ModifierFlags::control, ModifierFlags::option,
                                                      ModifierFlags::shift, ModifierFlags::command};
constexpr std::array<Qt::KeyboardModifier, 4> qtModifiers = {Qt::ControlModifier, Qt::AltModifier,
                                                             Qt::ShiftModifier, Qt::MetaModifier};

} // namespace

TEST(ModifierFlagsQt, EachFlagBecomesTheQtModifierOfTheKeyAsPrinted)
{
    EXPECT_EQ(ModifierFlags(ModifierFlags::control).toQt(),
              Qt::KeyboardModifiers(Qt::ControlModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::option).toQt(), Qt::KeyboardModifiers(Qt::AltModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::shift).toQt(), Qt::KeyboardModifiers(Qt::ShiftModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::command).toQt(),
              Qt::KeyboardModifiers(Qt::MetaModifier));
    EXPECT_EQ(ModifierFlags().toQt(), Qt::KeyboardModifiers());
    // Flags without a Qt counterpart are dropped.
    EXPECT_EQ(ModifierFlags(ModifierFlags::capsLock | ModifierFlags::function).toQt(),
              Qt::KeyboardModifiers());
}

TEST(ModifierFlagsQt, DefaultShortcutShowsAsCtrlAltL)
{
    const Qt::KeyboardModifiers modifiers =
        ModifierFlags(ModifierFlags::control | ModifierFlags::option).toQt();
    EXPECT_EQ(QKeySequence(QKeyCombination(modifiers, Qt::Key_L)).toString(),
              QStringLiteral("Ctrl+Alt+L"));
}

TEST(ModifierFlagsQt, ToQtIsTheExactInverseOfFromQt)
{
    for (unsigned combination = 0; combination < 16; ++combination) {
        ModifierFlags modifierFlags;
        Qt::KeyboardModifiers modifiers;
        for (std::size_t bit = 0; bit < flags.size(); ++bit) {
            if (combination & (1U << bit)) {
                modifierFlags |= flags.at(bit);
                modifiers |= qtModifiers.at(bit);
            }
        }
        EXPECT_EQ(ModifierFlags::fromQt(modifierFlags.toQt()), modifierFlags) << combination;
        EXPECT_EQ(ModifierFlags::fromQt(modifiers).toQt(), modifiers) << combination;
        EXPECT_EQ(modifierFlags.toQt(), modifiers) << combination;
    }
}

TEST(ModifierFlagsQt, ApplicationShortcutsUseCtrlForTheCommandFlag)
{
    EXPECT_EQ(ModifierFlags(ModifierFlags::command).toQtApplicationShortcut(),
              Qt::KeyboardModifiers(Qt::ControlModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::control).toQtApplicationShortcut(),
              Qt::KeyboardModifiers(Qt::MetaModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::option).toQtApplicationShortcut(),
              Qt::KeyboardModifiers(Qt::AltModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::shift).toQtApplicationShortcut(),
              Qt::KeyboardModifiers(Qt::ShiftModifier));
    EXPECT_EQ(ModifierFlags(ModifierFlags::capsLock).toQtApplicationShortcut(),
              Qt::KeyboardModifiers());
    EXPECT_EQ(QKeySequence(
                  QKeyCombination(ModifierFlags(ModifierFlags::command).toQtApplicationShortcut(),
                                  Qt::Key_Q))
                  .toString(),
              QStringLiteral("Ctrl+Q"));
}
