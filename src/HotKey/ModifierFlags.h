#pragma once

#include <QString>
#include <Qt>

#include <cstdint>

// The AppKit modifier flag set (device-independent bits). Only command, shift, option and control
// have Carbon counterparts; every other flag is dropped on the way to Carbon bits.
class ModifierFlags
{
public:
    enum Flag : std::uint64_t {
        capsLock = 0x10000,
        shift = 0x20000,
        control = 0x40000,
        option = 0x80000,
        command = 0x100000,
        numericPad = 0x200000,
        help = 0x400000,
        function = 0x800000,
    };

    // Carbon modifier bits (cmdKey, shiftKey, optionKey, controlKey).
    static constexpr std::uint32_t cmdKey = 0x100;
    static constexpr std::uint32_t shiftKey = 0x200;
    static constexpr std::uint32_t optionKey = 0x800;
    static constexpr std::uint32_t controlKey = 0x1000;

    constexpr ModifierFlags() = default;
    constexpr ModifierFlags(Flag flag) : rawValue(flag) {}
    constexpr explicit ModifierFlags(std::uint64_t rawValue) : rawValue(rawValue) {}

    // The AppKit flags for Carbon bits; bits other than the four modifiers are ignored.
    static ModifierFlags fromCarbonFlags(std::uint32_t carbonFlags);
    // The flags for a Qt key sequence's modifiers, minding the platform's naming of the keys
    // (Qt calls the Command key Control on macOS).
    static ModifierFlags fromQt(Qt::KeyboardModifiers modifiers);
    // The exact inverse of fromQt for command, shift, option and control: the Qt modifiers that
    // press the same keys the hot key backend grabs.
    Qt::KeyboardModifiers toQt() const;
    // The Qt modifiers of an application's own menu shortcut, whose command flag is the
    // platform's shortcut key: Command on macOS (minding Qt's swap of the names, as toQt does),
    // Ctrl elsewhere, where the Control flag then goes to the Super key.
    Qt::KeyboardModifiers toQtApplicationShortcut() const;

    std::uint32_t carbonFlags() const;
    // "⌃", "⌥", "⇧", "⌘" in that order, each only when set.
    QString description() const;

    constexpr bool contains(ModifierFlags flags) const
    {
        return (rawValue & flags.rawValue) == flags.rawValue;
    }
    constexpr bool isEmpty() const { return rawValue == 0; }

    constexpr ModifierFlags operator|(ModifierFlags other) const
    {
        return ModifierFlags(rawValue | other.rawValue);
    }
    constexpr ModifierFlags& operator|=(ModifierFlags other)
    {
        rawValue |= other.rawValue;
        return *this;
    }
    constexpr bool operator==(const ModifierFlags&) const = default;

    std::uint64_t rawValue = 0;
};

constexpr ModifierFlags operator|(ModifierFlags::Flag left, ModifierFlags::Flag right)
{
    return ModifierFlags(left) | ModifierFlags(right);
}
