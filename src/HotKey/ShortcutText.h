#pragma once

#include <QString>

#include <cstdint>

// A shortcut as the desktop writes it: the modifiers of Carbon bits followed by a key's text.
class ShortcutText
{
public:
    enum class Style {
        // "⌃⌥⇧⌘L": the modifier symbols in that order, joined without separators (macOS).
        symbols,
        // "Ctrl+Alt+Shift+Super+L": the key names in that order, joined by "+" (Linux desktops).
        words,
    };

    ShortcutText() = delete;

    // The style of the platform wisp runs on.
    static Style platformStyle();

    // The modifiers of `carbonModifiers` (other bits ignored) followed by `keyText`; with an
    // empty key text only the modifiers are shown.
    static QString build(std::uint32_t carbonModifiers, const QString& keyText, Style style);
    // The same in the platform's style.
    static QString build(std::uint32_t carbonModifiers, const QString& keyText)
    {
        return build(carbonModifiers, keyText, platformStyle());
    }
};
