#pragma once

#include "Key.h"
#include "ModifierFlags.h"

#include <QList>
#include <QVariantList>
#include <QVariantMap>

#include <concepts>
#include <cstdint>
#include <optional>

class QAction;
class QMenu;

// A key code and a modifier mask, both in Carbon numbering. The code need not belong to a Key.
struct KeyCombo
{
    std::uint32_t carbonKeyCode = 0;
    std::uint32_t carbonModifiers = 0;

    // Integers only: key and flag enumerators go to the Key/ModifierFlags form instead of being
    // taken for raw numbers.
    template <std::integral Code, std::integral Modifiers = std::uint32_t>
    KeyCombo(Code carbonKeyCode, Modifiers carbonModifiers = 0)
        : carbonKeyCode(static_cast<std::uint32_t>(carbonKeyCode))
        , carbonModifiers(static_cast<std::uint32_t>(carbonModifiers))
    {}
    KeyCombo(Key key, ModifierFlags modifiers)
        : carbonKeyCode(key.carbonKeyCode()), carbonModifiers(modifiers.carbonFlags())
    {}

    // None unless both "keyCode" and "modifiers" hold integers; an integer outside the unsigned
    // 32-bit range is a fatal error.
    static std::optional<KeyCombo> fromDictionary(const QVariantMap& dictionary);

    std::optional<Key> key() const { return Key::fromCarbonKeyCode(carbonKeyCode); }
    ModifierFlags modifiers() const { return ModifierFlags::fromCarbonFlags(carbonModifiers); }
    // The modifier symbols followed by the key's symbol ("⌃⌥L"); only the modifier symbols when
    // the code belongs to no key.
    QString description() const;
    // {"keyCode": carbonKeyCode, "modifiers": carbonModifiers}
    QVariantMap dictionary() const;

    bool operator==(const KeyCombo&) const = default;

    // The system's enabled symbolic hot keys (Carbon CopySymbolicHotKeys); empty where the
    // system has none to tell.
    static QList<KeyCombo> systemKeyCombos();
    // Reads the entries CopySymbolicHotKeys returns, converted to maps of "kHISymbolicHotKeyCode",
    // "kHISymbolicHotKeyModifiers" and "kHISymbolicHotKeyEnabled": only enabled entries with
    // numeric code and modifiers count. Order follows the list.
    static QList<KeyCombo> fromSymbolicHotKeys(const QVariantList& entries);
    // The combos of the application's main menu bar; empty when it has none.
    static QList<KeyCombo> mainMenuKeyCombos();
    // The combos of a menu's items in order, each item's submenu right after the item.
    static QList<KeyCombo> keyCombos(const QMenu* menu);
    // Combos reserved by convention (quit, close, copy, paste, app switching, ...).
    static QList<KeyCombo> standardKeyCombos();

private:
    static QList<KeyCombo> keyCombos(const QList<QAction*>& actions);
};
