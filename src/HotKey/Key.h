#pragma once

#include <QHashFunctions>
#include <QList>
#include <QString>

#include <cstdint>
#include <optional>

// A physical key, with its Carbon virtual key code (the kVK_ numbering).
class Key
{
public:
    // Declaration order is the case index, used for equality and hashing.
    // `return_` and `delete_` are the keys Return and Delete (backspace).
    // clang-format off
    enum Value {
        a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s, t, u, v, w, x, y, z,
        zero, one, two, three, four, five, six, seven, eight, nine,
        period, quote, rightBracket, semicolon, slash, backslash, comma, equal, grave,
        leftBracket, minus, section,
        space, tab, return_, command, rightCommand, option, rightOption, control, rightControl,
        shift, rightShift, function, capsLock,
        pageUp, pageDown, home, end, upArrow, rightArrow, downArrow, leftArrow,
        f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12, f13, f14, f15, f16, f17, f18, f19, f20,
        keypad0, keypad1, keypad2, keypad3, keypad4, keypad5, keypad6, keypad7, keypad8, keypad9,
        keypadClear, keypadDecimal, keypadDivide, keypadEnter, keypadEquals, keypadMinus,
        keypadMultiply, keypadPlus,
        escape, delete_, forwardDelete, help, volumeUp, volumeDown, mute
    };
    // clang-format on

    static constexpr int caseCount = mute + 1;

    constexpr Key(Value value) : value(value) {}
    constexpr operator Value() const { return value; }

    // Every key, in case order.
    static QList<Key> allCases();

    // The key whose code is `carbonKeyCode`; none for unassigned codes and codes above 126.
    static std::optional<Key> fromCarbonKeyCode(std::uint32_t carbonKeyCode);
    // Reads a key from its character, its name or its symbol, case-insensitively ("l", "return",
    // "⌘", "f1", ...); used to read menu key equivalents. Keys are tried in key-code order.
    static std::optional<Key> fromString(const QString& string);

    std::uint32_t carbonKeyCode() const;
    // The display symbol: "A", "⌘", "↩︎", the function-key labels, ...
    QString description() const;
    // The application's shorter text: "A" ... "Z", "0" ... "9", "Space", "Tab", "Return",
    // "PgUp", "PgDn", "Home", "End", arrows, "Esc", "Delete", "⌦", and "?" for any other key.
    QString shortText() const;

private:
    Value value;
};

inline std::size_t qHash(Key key, std::size_t seed = 0) noexcept
{
    return ::qHash(static_cast<int>(Key::Value(key)), seed);
}
