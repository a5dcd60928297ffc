#pragma once

#include <Qt>

#include <cstdint>
#include <optional>

class QKeyEvent;

// The Carbon virtual key code of the physical key a Qt key event reports, on every platform.
class KeyEventCode
{
public:
    KeyEventCode() = delete;

    // The native key where the platform reports one (macOS: the virtual key code itself; X11:
    // the key symbol, read at the key's unshifted level when the X display is at hand), else
    // derived from Qt's key. None for keys that have no Carbon code.
    static std::optional<std::uint32_t> carbonKeyCode(const QKeyEvent& event);
    // The key code for Qt's key and modifiers (Qt::KeypadModifier picks the keypad's keys),
    // assuming the US layout for shifted characters. None for keys without a Carbon code.
    static std::optional<std::uint32_t> fromQtKey(int qtKey, Qt::KeyboardModifiers modifiers);
    // Whether the event is the press of a modifier key itself (Control, Shift, Caps Lock, ...).
    // macOS reports those as flag changes, never as key presses, so a recorder skips them.
    static bool isModifierKey(const QKeyEvent& event);
};
