#pragma once

#include <cstdint>
#include <optional>

// Translation of Carbon key codes and modifier bits to X11 key symbols and modifier masks.
class X11KeyTable
{
public:
    X11KeyTable() = delete;

    // The X key symbol of the key with that Carbon code; none for codes without a key and for the
    // function (fn) key, which X never sees.
    static std::optional<unsigned long> keysym(std::uint32_t carbonKeyCode);
    // The inverse of keysym: the Carbon code of the key that types `keysym`. Letters match in
    // either case, the keypad's navigation symbols (Num Lock off) name their keypad keys, and
    // Shift+Tab's ISO_Left_Tab is Tab. None for symbols of no key.
    static std::optional<std::uint32_t> carbonKeyCode(unsigned long keysym);
    // control → ControlMask, option → Mod1Mask, shift → ShiftMask, command → Mod4Mask (Super);
    // other bits are ignored.
    static unsigned int modifierMask(std::uint32_t carbonModifiers);
};
