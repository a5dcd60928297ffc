#include "KeyEventCode.h"

#include "Key.h"

#include <QKeyEvent>

namespace {

std::optional<Key> keypadKey(int qtKey)
{
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
        return Key(static_cast<Key::Value>(Key::keypad0 + (qtKey - Qt::Key_0)));
    }
    switch (qtKey) {
    case Qt::Key_Period:
    case Qt::Key_Comma:
        return Key::keypadDecimal;
    case Qt::Key_Slash:
        return Key::keypadDivide;
    case Qt::Key_Asterisk:
        return Key::keypadMultiply;
    case Qt::Key_Plus:
        return Key::keypadPlus;
    case Qt::Key_Minus:
        return Key::keypadMinus;
    case Qt::Key_Equal:
        return Key::keypadEquals;
    case Qt::Key_Enter:
        return Key::keypadEnter;
    case Qt::Key_Clear:
        return Key::keypadClear;
    default:
        return std::nullopt;
    }
}

std::optional<Key> mainKey(int qtKey)
{
    if (qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) {
        return Key(static_cast<Key::Value>(Key::a + (qtKey - Qt::Key_A)));
    }
    if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
        return Key(static_cast<Key::Value>(Key::zero + (qtKey - Qt::Key_0)));
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F20) {
        return Key(static_cast<Key::Value>(Key::f1 + (qtKey - Qt::Key_F1)));
    }
    switch (qtKey) {
    case Qt::Key_Period:
    case Qt::Key_Greater:
        return Key::period;
    case Qt::Key_Apostrophe:
    case Qt::Key_QuoteDbl:
        return Key::quote;
    case Qt::Key_BracketRight:
    case Qt::Key_BraceRight:
        return Key::rightBracket;
    case Qt::Key_Semicolon:
    case Qt::Key_Colon:
        return Key::semicolon;
    case Qt::Key_Slash:
    case Qt::Key_Question:
        return Key::slash;
    case Qt::Key_Backslash:
    case Qt::Key_Bar:
        return Key::backslash;
    case Qt::Key_Comma:
    case Qt::Key_Less:
        return Key::comma;
    case Qt::Key_Equal:
    case Qt::Key_Plus:
        return Key::equal;
    case Qt::Key_QuoteLeft:
    case Qt::Key_AsciiTilde:
        return Key::grave;
    case Qt::Key_BracketLeft:
    case Qt::Key_BraceLeft:
        return Key::leftBracket;
    case Qt::Key_Minus:
    case Qt::Key_Underscore:
        return Key::minus;
    case Qt::Key_paragraph:
        return Key::section;
    // The shifted digits of the US layout.
    case Qt::Key_Exclam:
        return Key::one;
    case Qt::Key_At:
        return Key::two;
    case Qt::Key_NumberSign:
        return Key::three;
    case Qt::Key_Dollar:
        return Key::four;
    case Qt::Key_Percent:
        return Key::five;
    case Qt::Key_AsciiCircum:
        return Key::six;
    case Qt::Key_Ampersand:
        return Key::seven;
    case Qt::Key_Asterisk:
        return Key::eight;
    case Qt::Key_ParenLeft:
        return Key::nine;
    case Qt::Key_ParenRight:
        return Key::zero;
    case Qt::Key_Space:
        return Key::space;
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return Key::tab;
    case Qt::Key_Return:
        return Key::return_;
    case Qt::Key_Enter:
        return Key::keypadEnter;
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
        return Key::command;
    case Qt::Key_Super_R:
        return Key::rightCommand;
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
        return Key::option;
    case Qt::Key_Control:
        return Key::control;
    case Qt::Key_Shift:
        return Key::shift;
    case Qt::Key_CapsLock:
        return Key::capsLock;
    case Qt::Key_PageUp:
        return Key::pageUp;
    case Qt::Key_PageDown:
        return Key::pageDown;
    case Qt::Key_Home:
        return Key::home;
    case Qt::Key_End:
        return Key::end;
    case Qt::Key_Up:
        return Key::upArrow;
    case Qt::Key_Right:
        return Key::rightArrow;
    case Qt::Key_Down:
        return Key::downArrow;
    case Qt::Key_Left:
        return Key::leftArrow;
    case Qt::Key_Clear:
        return Key::keypadClear;
    case Qt::Key_Escape:
        return Key::escape;
    case Qt::Key_Backspace:
        return Key::delete_;
    case Qt::Key_Delete:
        return Key::forwardDelete;
    case Qt::Key_Help:
    case Qt::Key_Insert:
        return Key::help;
    case Qt::Key_VolumeUp:
        return Key::volumeUp;
    case Qt::Key_VolumeDown:
        return Key::volumeDown;
    case Qt::Key_VolumeMute:
        return Key::mute;
    default:
        return std::nullopt;
    }
}

bool isModifierCode(std::uint32_t code)
{
    const std::optional<Key> key = Key::fromCarbonKeyCode(code);
    if (!key) {
        return false;
    }
    switch (*key) {
    case Key::command:
    case Key::rightCommand:
    case Key::option:
    case Key::rightOption:
    case Key::control:
    case Key::rightControl:
    case Key::shift:
    case Key::rightShift:
    case Key::function:
    case Key::capsLock:
        return true;
    default:
        return false;
    }
}

} // namespace

std::optional<std::uint32_t> KeyEventCode::fromQtKey(int qtKey, Qt::KeyboardModifiers modifiers)
{
    std::optional<Key> key;
    if (modifiers & Qt::KeypadModifier) {
        key = keypadKey(qtKey);
    }
    if (!key) {
        key = mainKey(qtKey);
    }
    if (!key) {
        return std::nullopt;
    }
    return key->carbonKeyCode();
}

bool KeyEventCode::isModifierKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_Mode_switch:
        return true;
    default:
        break;
    }
    const std::optional<std::uint32_t> code = carbonKeyCode(event);
    return code && isModifierCode(*code);
}
