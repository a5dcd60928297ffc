#include "Key.h"

#include <QStringList>

#include <array>

namespace {

// Carbon virtual key codes (kVK_...), indexed by case.
// clang-format off
constexpr std::array<std::uint32_t, Key::caseCount> carbonKeyCodes = {
    // a ... z
    0, 11, 8, 2, 14, 3, 5, 4, 34, 38, 40, 37, 46, 45, 31, 35, 12, 15, 1, 17, 32, 9, 13, 7, 16, 6,
    // zero ... nine
    29, 18, 19, 20, 21, 23, 22, 26, 28, 25,
    // period, quote, rightBracket, semicolon, slash, backslash, comma, equal, grave, leftBracket,
    // minus, section
    47, 39, 30, 41, 44, 42, 43, 24, 50, 33, 27, 10,
    // space, tab, return, command, rightCommand, option, rightOption, control, rightControl,
    // shift, rightShift, function, capsLock
    49, 48, 36, 55, 54, 58, 61, 59, 62, 56, 60, 63, 57,
    // pageUp, pageDown, home, end, upArrow, rightArrow, downArrow, leftArrow
    116, 121, 115, 119, 126, 124, 125, 123,
    // f1 ... f20
    122, 120, 99, 118, 96, 97, 98, 100, 101, 109, 103, 111, 105, 107, 113, 106, 64, 79, 80, 90,
    // keypad0 ... keypad9
    82, 83, 84, 85, 86, 87, 88, 89, 91, 92,
    // keypadClear, keypadDecimal, keypadDivide, keypadEnter, keypadEquals, keypadMinus,
    // keypadMultiply, keypadPlus
    71, 65, 75, 76, 81, 78, 67, 69,
    // escape, delete, forwardDelete, help, volumeUp, volumeDown, mute
    53, 51, 117, 114, 72, 73, 74,
};
// clang-format on

constexpr std::uint32_t highestKeyCode = 126;

// Case index by key code; -1 where no key has the code.
constexpr std::array<int, highestKeyCode + 1> casesByKeyCode = [] {
    std::array<int, highestKeyCode + 1> table{};
    for (int& entry : table) {
        entry = -1;
    }
    for (int index = 0; index < Key::caseCount; ++index) {
        table[carbonKeyCodes[index]] = index;
    }
    return table;
}();

QString letter(Key key, char first)
{
    return QString(QChar(first + (key - Key::a)));
}

QString functionKeyLabel(Key key)
{
    const int number = key - Key::f1 + 1;
    // The private-use prefix belongs to the label: U+F860 for one digit, U+F861 for two.
    return QString(QChar(number < 10 ? 0xF860 : 0xF861)) + QStringLiteral("F") +
           QString::number(number);
}

// Accepted spellings, already in lower case except where noted.
QStringList spellings(Key key)
{
    if (key >= Key::a && key <= Key::z) {
        return {letter(key, 'a')};
    }
    if (key >= Key::f1 && key <= Key::f20) {
        const QString number = QString::number(key - Key::f1 + 1);
        return {QStringLiteral("f") + number, functionKeyLabel(key).toLower()};
    }
    if (key >= Key::keypad0 && key <= Key::keypad9) {
        return {QStringLiteral("keypad") + QString::number(key - Key::keypad0)};
    }
    switch (key) {
    case Key::zero:
        return {QStringLiteral("0"), QStringLiteral("zero")};
    case Key::one:
        return {QStringLiteral("1"), QStringLiteral("one")};
    case Key::two:
        return {QStringLiteral("2"), QStringLiteral("two")};
    case Key::three:
        return {QStringLiteral("3"), QStringLiteral("three")};
    case Key::four:
        return {QStringLiteral("4"), QStringLiteral("four")};
    case Key::five:
        return {QStringLiteral("5"), QStringLiteral("five")};
    case Key::six:
        return {QStringLiteral("6"), QStringLiteral("six")};
    case Key::seven:
        return {QStringLiteral("7"), QStringLiteral("seven")};
    case Key::eight:
        return {QStringLiteral("8"), QStringLiteral("eight")};
    case Key::nine:
        return {QStringLiteral("9"), QStringLiteral("nine")};
    case Key::period:
        return {QStringLiteral("."), QStringLiteral("period")};
    case Key::quote:
        return {QStringLiteral("\""), QStringLiteral("quote")};
    case Key::rightBracket:
        // The word is held in camel case and so never equals a lower-cased input; the key is
        // reached through "]" only.
        return {QStringLiteral("]"), QStringLiteral("rightBracket")};
    case Key::semicolon:
        return {QStringLiteral(";"), QStringLiteral("semicolon")};
    case Key::slash:
        return {QStringLiteral("/"), QStringLiteral("slash")};
    case Key::backslash:
        return {QStringLiteral("\\"), QStringLiteral("backslash")};
    case Key::comma:
        return {QStringLiteral(","), QStringLiteral("comma")};
    case Key::equal:
        return {QStringLiteral("="), QStringLiteral("equal")};
    case Key::grave:
        return {QStringLiteral("`"), QStringLiteral("ˋ"), QStringLiteral("｀"),
                QStringLiteral("grave")};
    case Key::leftBracket:
        // Camel case, like rightBracket: reached through "[" only.
        return {QStringLiteral("["), QStringLiteral("leftBracket")};
    case Key::minus:
        return {QStringLiteral("-"), QStringLiteral("minus")};
    case Key::section:
        return {QStringLiteral("§"), QStringLiteral("section")};
    case Key::space:
        return {QStringLiteral(" "), QStringLiteral("␣"), QStringLiteral("space")};
    case Key::tab:
        return {QStringLiteral("\t"), QStringLiteral("⇥"), QStringLiteral("tab")};
    case Key::return_:
        return {QStringLiteral("\r"), QStringLiteral("\u21A9\uFE0E"), QStringLiteral("⏎"),
                QStringLiteral("⮐"), QStringLiteral("return")};
    case Key::command:
        return {QStringLiteral("⌘"), QString(QChar(0xF8FF)), QStringLiteral("command")};
    case Key::rightCommand:
        return {QStringLiteral("rightcommand")};
    case Key::option:
        return {QStringLiteral("option")};
    case Key::rightOption:
        return {QStringLiteral("rightoption")};
    case Key::control:
        return {QStringLiteral("⌃"), QStringLiteral("control")};
    case Key::rightControl:
        return {QStringLiteral("rightcontrol")};
    case Key::shift:
        return {QStringLiteral("⇧"), QStringLiteral("shift")};
    case Key::rightShift:
        return {QStringLiteral("rightshift")};
    case Key::function:
        return {QStringLiteral("fn"), QStringLiteral("function")};
    case Key::capsLock:
        return {QStringLiteral("capslock")};
    case Key::pageUp:
        return {QStringLiteral("⇞"), QStringLiteral("pageup")};
    case Key::pageDown:
        return {QStringLiteral("pagedown")};
    case Key::home:
        return {QStringLiteral("↖"), QStringLiteral("home")};
    case Key::end:
        return {QStringLiteral("end")};
    case Key::upArrow:
        return {QStringLiteral("↑"), QStringLiteral("uparrow")};
    case Key::rightArrow:
        return {QStringLiteral("rightarrow")};
    case Key::downArrow:
        return {QStringLiteral("downarrow")};
    case Key::leftArrow:
        return {QStringLiteral("←"), QStringLiteral("leftarrow")};
    case Key::keypadClear:
        return {QStringLiteral("keypadclear")};
    case Key::keypadDecimal:
        return {QStringLiteral("keypaddecimal")};
    case Key::keypadDivide:
        return {QStringLiteral("keypaddivide")};
    case Key::keypadEnter:
        return {QStringLiteral("keypadenter")};
    case Key::keypadEquals:
        return {QStringLiteral("keypadequals")};
    case Key::keypadMinus:
        return {QStringLiteral("keypadminus")};
    case Key::keypadMultiply:
        return {QStringLiteral("keypadmultiply")};
    case Key::keypadPlus:
        return {QStringLiteral("keypadplus")};
    case Key::escape:
        return {QStringLiteral("⎋"), QStringLiteral("escape")};
    case Key::delete_:
        return {QStringLiteral("⌫"), QStringLiteral("delete")};
    case Key::forwardDelete:
        return {QStringLiteral("⌦"), QStringLiteral("forwarddelete")};
    case Key::help:
        return {QStringLiteral("?\u20DD"), QStringLiteral("help")};
    case Key::volumeUp:
        return {QStringLiteral("🔊"), QStringLiteral("volumeup")};
    case Key::volumeDown:
        return {QStringLiteral("🔉"), QStringLiteral("volumedown")};
    case Key::mute:
        return {QStringLiteral("🔇"), QStringLiteral("mute")};
    default:
        return {};
    }
}

} // namespace

QList<Key> Key::allCases()
{
    QList<Key> keys;
    keys.reserve(caseCount);
    for (int index = 0; index < caseCount; ++index) {
        keys.append(Key(static_cast<Value>(index)));
    }
    return keys;
}

std::optional<Key> Key::fromCarbonKeyCode(std::uint32_t carbonKeyCode)
{
    if (carbonKeyCode > highestKeyCode || casesByKeyCode[carbonKeyCode] < 0) {
        return std::nullopt;
    }
    return Key(static_cast<Value>(casesByKeyCode[carbonKeyCode]));
}

std::optional<Key> Key::fromString(const QString& string)
{
    const QString lowered = string.toLower();
    for (std::uint32_t code = 0; code <= highestKeyCode; ++code) {
        const std::optional<Key> key = fromCarbonKeyCode(code);
        if (key && spellings(*key).contains(lowered)) {
            return key;
        }
    }
    return std::nullopt;
}

std::uint32_t Key::carbonKeyCode() const
{
    return carbonKeyCodes[value];
}

QString Key::description() const
{
    if (value >= a && value <= z) {
        return letter(value, 'A');
    }
    if (value >= zero && value <= nine) {
        // zero ... nine are in digit order.
        return QString::number(value - zero);
    }
    if (value >= keypad0 && value <= keypad9) {
        return QString::number(value - keypad0);
    }
    if (value >= f1 && value <= f20) {
        return functionKeyLabel(value);
    }
    switch (value) {
    case period:
    case keypadDecimal:
        return QStringLiteral(".");
    case quote:
        return QStringLiteral("\"");
    case rightBracket:
        return QStringLiteral("]");
    case leftBracket:
        return QStringLiteral("[");
    case semicolon:
        return QStringLiteral(";");
    case slash:
    case keypadDivide:
        return QStringLiteral("/");
    case backslash:
        return QStringLiteral("\\");
    case comma:
        return QStringLiteral(",");
    case equal:
    case keypadEquals:
        return QStringLiteral("=");
    case grave:
        return QStringLiteral("`");
    case minus:
    case keypadMinus:
        return QStringLiteral("-");
    case keypadPlus:
        return QStringLiteral("+");
    case section:
        return QStringLiteral("§");
    case space:
        return QStringLiteral("␣");
    case tab:
        return QStringLiteral("⇥");
    case return_:
    case keypadEnter:
        return QStringLiteral("\u21A9\uFE0E");
    case command:
    case rightCommand:
        return QStringLiteral("⌘");
    case option:
    case rightOption:
        return QStringLiteral("⌥");
    case control:
    case rightControl:
        return QStringLiteral("⌃");
    case shift:
    case rightShift:
        return QStringLiteral("⇧");
    case function:
        return QStringLiteral("fn");
    case capsLock:
        return QStringLiteral("⇪");
    case pageUp:
        return QStringLiteral("⇞");
    case pageDown:
        return QStringLiteral("⇟");
    case home:
        return QStringLiteral("↖");
    case end:
        return QStringLiteral("↘");
    case upArrow:
        return QStringLiteral("↑");
    case rightArrow:
        return QStringLiteral("→");
    case downArrow:
        return QStringLiteral("↓");
    case leftArrow:
        return QStringLiteral("←");
    case keypadClear:
        return QStringLiteral("⌧");
    case keypadMultiply:
        return QStringLiteral("\U0001D5D1");
    case escape:
        return QStringLiteral("⎋");
    case delete_:
        return QStringLiteral("⌫");
    case forwardDelete:
        return QStringLiteral("⌦");
    case help:
        return QStringLiteral("?\u20DD");
    case volumeUp:
        return QStringLiteral("🔊");
    case volumeDown:
        return QStringLiteral("🔉");
    case mute:
        return QStringLiteral("🔇");
    default:
        return {};
    }
}

QString Key::shortText() const
{
    if (value >= a && value <= z) {
        return letter(value, 'A');
    }
    if (value >= zero && value <= nine) {
        return QString::number(value - zero);
    }
    switch (value) {
    case space:
        return QStringLiteral("Space");
    case tab:
        return QStringLiteral("Tab");
    case return_:
        return QStringLiteral("Return");
    case pageUp:
        return QStringLiteral("PgUp");
    case pageDown:
        return QStringLiteral("PgDn");
    case home:
        return QStringLiteral("Home");
    case end:
        return QStringLiteral("End");
    case upArrow:
        return QStringLiteral("↑");
    case rightArrow:
        return QStringLiteral("→");
    case downArrow:
        return QStringLiteral("↓");
    case leftArrow:
        return QStringLiteral("←");
    case escape:
        return QStringLiteral("Esc");
    case delete_:
        return QStringLiteral("Delete");
    case forwardDelete:
        return QStringLiteral("⌦");
    default:
        // Function keys, keypad keys, punctuation and modifiers have no short text.
        return QStringLiteral("?");
    }
}
