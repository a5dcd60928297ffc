#include "HotKey/KeyCombo.h"

#include "support/QtPrinters.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

using F = ModifierFlags;

TEST(ModifierFlags, CarbonFlagsTranslateTheFourModifiers)
{
    EXPECT_EQ(ModifierFlags(F::command).carbonFlags(), 0x100u);
    EXPECT_EQ(ModifierFlags(F::shift).carbonFlags(), 0x200u);
    EXPECT_EQ(ModifierFlags(F::option).carbonFlags(), 0x800u);
    EXPECT_EQ(ModifierFlags(F::control).carbonFlags(), 0x1000u);
    EXPECT_EQ((F::command | F::shift | F::option | F::control).carbonFlags(), 0x1B00u);
    EXPECT_EQ(ModifierFlags().carbonFlags(), 0u);
}

TEST(ModifierFlags, AppKitBitsAreTheDocumentedOnes)
{
    EXPECT_EQ(ModifierFlags(F::command).rawValue, 0x100000u);
    EXPECT_EQ(ModifierFlags(F::shift).rawValue, 0x20000u);
    EXPECT_EQ(ModifierFlags(F::option).rawValue, 0x80000u);
    EXPECT_EQ(ModifierFlags(F::control).rawValue, 0x40000u);
    EXPECT_EQ(ModifierFlags(F::capsLock).rawValue, 0x10000u);
    EXPECT_EQ(ModifierFlags(F::function).rawValue, 0x800000u);
}

TEST(ModifierFlags, CarbonBitsTranslateBack)
{
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0x100), ModifierFlags(F::command));
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0x200), ModifierFlags(F::shift));
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0x800), ModifierFlags(F::option));
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0x1000), ModifierFlags(F::control));
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0x1800), F::control | F::option);
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0), ModifierFlags());
}

TEST(ModifierFlags, OtherCarbonBitsAreIgnored)
{
    // alphaLock 0x400, rightShiftKey 0x2000, activeFlag 0x1, btnState 0x80
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0x400 | 0x2000 | 0x1 | 0x80), ModifierFlags());
    EXPECT_EQ(ModifierFlags::fromCarbonFlags(0xFFFFFFFF),
              F::command | F::shift | F::option | F::control);
}

TEST(ModifierFlags, CapsLockAndFunctionVanishInCarbonFlagsAndNeverReappear)
{
    const ModifierFlags flags = F::capsLock | F::function | F::numericPad | F::help | F::option;
    EXPECT_EQ(flags.carbonFlags(), 0x800u);
    const ModifierFlags back = ModifierFlags::fromCarbonFlags(flags.carbonFlags());
    EXPECT_EQ(back, ModifierFlags(F::option));
    EXPECT_FALSE(back.contains(F::capsLock));
    EXPECT_FALSE(back.contains(F::function));
    EXPECT_EQ((F::capsLock | F::function).carbonFlags(), 0u);
    EXPECT_EQ(KeyCombo(Key::l, F::capsLock | F::function).carbonModifiers, 0u);
}

TEST(ModifierFlags, DescriptionFollowsControlOptionShiftCommand)
{
    EXPECT_EQ((F::command | F::shift | F::option | F::control).description(),
              QStringLiteral("⌃⌥⇧⌘"));
    EXPECT_EQ((F::command | F::control).description(), QStringLiteral("⌃⌘"));
    EXPECT_EQ((F::shift | F::option).description(), QStringLiteral("⌥⇧"));
    EXPECT_EQ(ModifierFlags(F::command).description(), QStringLiteral("⌘"));
    EXPECT_EQ(ModifierFlags().description(), QString());
    EXPECT_EQ((F::capsLock | F::function).description(), QString());
}

TEST(KeyCombo, StoresCodeAndModifiersAsGiven)
{
    const KeyCombo combo(52, 0xFFFF);
    EXPECT_EQ(combo.carbonKeyCode, 52u);
    EXPECT_EQ(combo.carbonModifiers, 0xFFFFu);
    EXPECT_EQ(KeyCombo(37).carbonModifiers, 0u);
}

TEST(KeyCombo, ControlOptionLIs0x1800AndReadsControlOptionL)
{
    const KeyCombo combo(Key::l, F::control | F::option);
    EXPECT_EQ(combo.carbonKeyCode, 37u);
    EXPECT_EQ(combo.carbonModifiers, 0x1800u);
    EXPECT_EQ(combo.description(), QStringLiteral("⌃⌥L"));
}

TEST(KeyCombo, KeyAndFlagEnumeratorsAreNeverTakenForRawNumbers)
{
    const KeyCombo combo(Key::q, F::command);
    EXPECT_EQ(combo.carbonKeyCode, 12u);
    EXPECT_EQ(combo.carbonModifiers, 0x100u);
    EXPECT_TRUE(KeyCombo::standardKeyCombos().contains(KeyCombo(12, 0x100)));
}

TEST(KeyCombo, DerivesKeyAndModifiers)
{
    const KeyCombo combo(122, 0x100 | 0x200);
    EXPECT_EQ(combo.key(), std::optional<Key>(Key::f1));
    EXPECT_EQ(combo.modifiers(), F::command | F::shift);
    EXPECT_EQ(combo.description(), QStringLiteral("⇧⌘") + QString::fromUtf16(u"\uF860F1"));
}

TEST(KeyCombo, DescriptionWithoutAKeyShowsOnlyTheModifiers)
{
    EXPECT_FALSE(KeyCombo(52, 0x1800).key().has_value());
    EXPECT_EQ(KeyCombo(52, 0x1800).description(), QStringLiteral("⌃⌥"));
    EXPECT_EQ(KeyCombo(300, 0).description(), QString());
}

TEST(KeyCombo, EqualityComparesBothFields)
{
    EXPECT_EQ(KeyCombo(37, 0x1800), KeyCombo(Key::l, F::control | F::option));
    EXPECT_NE(KeyCombo(37, 0x1800), KeyCombo(37, 0x1000));
    EXPECT_NE(KeyCombo(37, 0x1800), KeyCombo(38, 0x1800));
}

TEST(KeyCombo, DictionaryHasExactlyTheTwoIntegerEntries)
{
    const QVariantMap dictionary = KeyCombo(37, 0x1800).dictionary();
    EXPECT_EQ(dictionary.size(), 2);
    EXPECT_EQ(dictionary.value(QStringLiteral("keyCode")).toLongLong(), 37);
    EXPECT_EQ(dictionary.value(QStringLiteral("modifiers")).toLongLong(), 0x1800);
    EXPECT_EQ(KeyCombo::fromDictionary(dictionary), std::optional<KeyCombo>(KeyCombo(37, 0x1800)));
}

TEST(KeyCombo, DictionaryRoundTripsTheWholeUnsignedRange)
{
    const KeyCombo combo(4294967295u, 4294967295u);
    EXPECT_EQ(KeyCombo::fromDictionary(combo.dictionary()), std::optional<KeyCombo>(combo));
    EXPECT_EQ(KeyCombo::fromDictionary(KeyCombo(0, 0).dictionary()),
              std::optional<KeyCombo>(KeyCombo(0, 0)));
}

TEST(KeyCombo, DictionaryWithoutModifiersGivesNone)
{
    EXPECT_FALSE(KeyCombo::fromDictionary({{QStringLiteral("keyCode"), 37}}).has_value());
    EXPECT_FALSE(KeyCombo::fromDictionary({{QStringLiteral("modifiers"), 0x1800}}).has_value());
    EXPECT_FALSE(KeyCombo::fromDictionary({}).has_value());
}

TEST(KeyCombo, DictionaryAcceptsAnyIntegerType)
{
    const QVariantMap dictionary = {{QStringLiteral("keyCode"), QVariant(37u)},
                                    {QStringLiteral("modifiers"), QVariant(qulonglong(0x1800))}};
    EXPECT_EQ(KeyCombo::fromDictionary(dictionary), std::optional<KeyCombo>(KeyCombo(37, 0x1800)));
    const QVariantMap wholeDoubles = {{QStringLiteral("keyCode"), QVariant(37.0)},
                                      {QStringLiteral("modifiers"), QVariant(6144.0)}};
    EXPECT_EQ(KeyCombo::fromDictionary(wholeDoubles),
              std::optional<KeyCombo>(KeyCombo(37, 0x1800)));
}

TEST(KeyCombo, DictionaryWithNonIntegerValuesGivesNone)
{
    const QVariantMap text = {{QStringLiteral("keyCode"), QStringLiteral("37")},
                              {QStringLiteral("modifiers"), 0}};
    const QVariantMap fraction = {{QStringLiteral("keyCode"), 37},
                                  {QStringLiteral("modifiers"), 0.5}};
    const QVariantMap invalid = {{QStringLiteral("keyCode"), 37},
                                 {QStringLiteral("modifiers"), QVariant()}};
    const QVariantMap boolean = {{QStringLiteral("keyCode"), true},
                                 {QStringLiteral("modifiers"), 0}};
    EXPECT_FALSE(KeyCombo::fromDictionary(text).has_value());
    EXPECT_FALSE(KeyCombo::fromDictionary(fraction).has_value());
    EXPECT_FALSE(KeyCombo::fromDictionary(invalid).has_value());
    EXPECT_FALSE(KeyCombo::fromDictionary(boolean).has_value());
}

TEST(KeyComboDeathTest, DictionaryValueAboveUnsignedRangeIsFatal)
{
    const QVariantMap dictionary = {{QStringLiteral("keyCode"), QVariant(qlonglong(4294967296))},
                                    {QStringLiteral("modifiers"), 0}};
    EXPECT_DEATH(KeyCombo::fromDictionary(dictionary), "outside 0 ... 4294967295");
}

TEST(KeyComboDeathTest, NegativeDictionaryValueIsFatal)
{
    const QVariantMap dictionary = {{QStringLiteral("keyCode"), 37},
                                    {QStringLiteral("modifiers"), -1}};
    EXPECT_DEATH(KeyCombo::fromDictionary(dictionary), "outside 0 ... 4294967295");
}

namespace {

QVariantMap symbolicHotKey(const QVariant& code, const QVariant& modifiers, const QVariant& enabled)
{
    QVariantMap entry;
    if (code.isValid()) {
        entry.insert(QStringLiteral("kHISymbolicHotKeyCode"), code);
    }
    if (modifiers.isValid()) {
        entry.insert(QStringLiteral("kHISymbolicHotKeyModifiers"), modifiers);
    }
    if (enabled.isValid()) {
        entry.insert(QStringLiteral("kHISymbolicHotKeyEnabled"), enabled);
    }
    return entry;
}

} // namespace

TEST(KeyCombo, EnabledSymbolicHotKeysBecomeCombosInOrder)
{
    const QVariantList entries = {symbolicHotKey(49, 0x100, true), symbolicHotKey(48, 0x100, 1),
                                  symbolicHotKey(20, 0x300, true)};
    EXPECT_EQ(KeyCombo::fromSymbolicHotKeys(entries),
              (QList<KeyCombo>{KeyCombo(49, 0x100), KeyCombo(48, 0x100), KeyCombo(20, 0x300)}));
}

TEST(KeyCombo, DisabledSymbolicHotKeyNeverAppears)
{
    const QVariantList entries = {symbolicHotKey(49, 0x100, false), symbolicHotKey(50, 0x100, 0),
                                  symbolicHotKey(48, 0x100, true)};
    EXPECT_EQ(KeyCombo::fromSymbolicHotKeys(entries), QList<KeyCombo>{KeyCombo(48, 0x100)});
}

TEST(KeyCombo, SymbolicHotKeysWithMissingOrNonNumericEntriesAreSkipped)
{
    const QVariantList entries = {
        symbolicHotKey(49, 0x100, QVariant()),             // enabled missing
        symbolicHotKey(49, 0x100, QStringLiteral("true")), // enabled not a number
        symbolicHotKey(QVariant(), 0x100, true),           // code missing
        symbolicHotKey(49, QVariant(), true),              // modifiers missing
        symbolicHotKey(QStringLiteral("49"), 0x100, true), // code not a number
        symbolicHotKey(49, QStringLiteral("256"), true),   // modifiers not a number
        QVariant(QStringLiteral("not a dictionary")),
        symbolicHotKey(122, 0, true),
    };
    EXPECT_EQ(KeyCombo::fromSymbolicHotKeys(entries), QList<KeyCombo>{KeyCombo(122, 0)});
}

TEST(KeyCombo, MenuItemsGiveTheirCombosDepthFirst)
{
    QMenu menu;
    menu.addAction(QStringLiteral("Open"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
    QMenu* submenu = menu.addMenu(QStringLiteral("Recent"));
    submenu->addAction(QStringLiteral("Clear"))
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Backspace));
    QMenu* nested = submenu->addMenu(QStringLiteral("More"));
    nested->addAction(QStringLiteral("Help"))->setShortcut(QKeySequence(Qt::Key_F1));
    menu.addSeparator();
    menu.addAction(QStringLiteral("No shortcut"));
    menu.addAction(QStringLiteral("Unreadable"))
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Apostrophe));
    menu.addAction(QStringLiteral("Settings"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    menu.addAction(QStringLiteral("Quit"))->setShortcut(QKeySequence(Qt::ALT | Qt::Key_Return));

    const ModifierFlags ctrl = ModifierFlags::fromQt(Qt::ControlModifier);
    const ModifierFlags ctrlShift = ModifierFlags::fromQt(Qt::ControlModifier | Qt::ShiftModifier);
    const ModifierFlags alt = ModifierFlags::fromQt(Qt::AltModifier);
    EXPECT_EQ(KeyCombo::keyCombos(&menu),
              (QList<KeyCombo>{KeyCombo(Key::o, ctrl), KeyCombo(Key::delete_, ctrlShift),
                               KeyCombo(Key::f1, ModifierFlags()), KeyCombo(Key::comma, ctrl),
                               KeyCombo(Key::return_, alt)}));
}

TEST(KeyCombo, MenuItemKeysUseTheKeySpellings)
{
    QMenu menu;
    const QList<std::pair<Qt::Key, Key>> keys = {
        {Qt::Key_A, Key::a},
        {Qt::Key_5, Key::five},
        {Qt::Key_Space, Key::space},
        {Qt::Key_Tab, Key::tab},
        {Qt::Key_Escape, Key::escape},
        {Qt::Key_Delete, Key::forwardDelete},
        {Qt::Key_Left, Key::leftArrow},
        {Qt::Key_PageDown, Key::pageDown},
        {Qt::Key_BracketRight, Key::rightBracket},
        {Qt::Key_Enter, Key::keypadEnter},
        {Qt::Key_F20, Key::f20},
        {Qt::Key_QuoteDbl, Key::quote},
    };
    QList<KeyCombo> expected;
    for (const auto& [qtKey, key] : keys) {
        menu.addAction(QStringLiteral("item"))->setShortcut(QKeySequence(qtKey));
        expected.append(KeyCombo(key, ModifierFlags()));
    }
    EXPECT_EQ(KeyCombo::keyCombos(&menu), expected);
}

TEST(KeyCombo, EmptyOrMissingMenuGivesNoCombos)
{
    QMenu menu;
    EXPECT_TRUE(KeyCombo::keyCombos(&menu).isEmpty());
    EXPECT_TRUE(KeyCombo::keyCombos(nullptr).isEmpty());
}

TEST(KeyCombo, WithoutAMainMenuBarThereAreNoMainMenuCombos)
{
    EXPECT_TRUE(KeyCombo::mainMenuKeyCombos().isEmpty());
}

TEST(KeyCombo, MainMenuCombosComeFromTheParentlessMenuBar)
{
    auto menuBar = std::make_unique<QMenuBar>();
    QMenu* file = menuBar->addMenu(QStringLiteral("File"));
    file->addAction(QStringLiteral("Close"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    QMenu* edit = menuBar->addMenu(QStringLiteral("Edit"));
    edit->addAction(QStringLiteral("Copy"))->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_C));

    const ModifierFlags ctrl = ModifierFlags::fromQt(Qt::ControlModifier);
    EXPECT_EQ(KeyCombo::mainMenuKeyCombos(),
              (QList<KeyCombo>{KeyCombo(Key::w, ctrl), KeyCombo(Key::c, ctrl)}));
}

TEST(KeyCombo, StandardCombosHoldTheUsualReservedShortcuts)
{
    const QList<KeyCombo> combos = KeyCombo::standardKeyCombos();
    for (const KeyCombo& reserved :
         {KeyCombo(Key::q, F::command), KeyCombo(Key::w, F::command), KeyCombo(Key::c, F::command),
          KeyCombo(Key::v, F::command), KeyCombo(Key::x, F::command), KeyCombo(Key::z, F::command),
          KeyCombo(Key::a, F::command), KeyCombo(Key::tab, F::command),
          KeyCombo(Key::space, F::command)}) {
        EXPECT_TRUE(combos.contains(reserved)) << reserved.description().toStdString();
    }
    // No duplicates, and the default shortcut is not among them.
    for (qsizetype index = 0; index < combos.size(); ++index) {
        EXPECT_EQ(combos.count(combos[index]), 1) << combos[index].description().toStdString();
    }
    EXPECT_FALSE(combos.contains(KeyCombo(Key::l, F::control | F::option)));
}
