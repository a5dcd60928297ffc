#include "X11KeyTable.h"

#include "HotKey/Key.h"
#include "HotKey/ModifierFlags.h"

#include <X11/X.h>
#include <X11/XF86keysym.h>
#include <X11/keysym.h>

std::optional<unsigned long> X11KeyTable::keysym(std::uint32_t carbonKeyCode)
{
    const std::optional<Key> key = Key::fromCarbonKeyCode(carbonKeyCode);
    if (!key) {
        return std::nullopt;
    }
    if (*key >= Key::a && *key <= Key::z) {
        return XK_a + (*key - Key::a);
    }
    if (*key >= Key::zero && *key <= Key::nine) {
        return XK_0 + (*key - Key::zero);
    }
    if (*key >= Key::f1 && *key <= Key::f20) {
        return XK_F1 + (*key - Key::f1);
    }
    if (*key >= Key::keypad0 && *key <= Key::keypad9) {
        return XK_KP_0 + (*key - Key::keypad0);
    }
    switch (*key) {
    case Key::period:
        return XK_period;
    case Key::quote:
        return XK_apostrophe;
    case Key::rightBracket:
        return XK_bracketright;
    case Key::semicolon:
        return XK_semicolon;
    case Key::slash:
        return XK_slash;
    case Key::backslash:
        return XK_backslash;
    case Key::comma:
        return XK_comma;
    case Key::equal:
        return XK_equal;
    case Key::grave:
        return XK_grave;
    case Key::leftBracket:
        return XK_bracketleft;
    case Key::minus:
        return XK_minus;
    case Key::section:
        return XK_section;
    case Key::space:
        return XK_space;
    case Key::tab:
        return XK_Tab;
    case Key::return_:
        return XK_Return;
    case Key::command:
        return XK_Super_L;
    case Key::rightCommand:
        return XK_Super_R;
    case Key::option:
        return XK_Alt_L;
    case Key::rightOption:
        return XK_Alt_R;
    case Key::control:
        return XK_Control_L;
    case Key::rightControl:
        return XK_Control_R;
    case Key::shift:
        return XK_Shift_L;
    case Key::rightShift:
        return XK_Shift_R;
    case Key::capsLock:
        return XK_Caps_Lock;
    case Key::pageUp:
        return XK_Page_Up;
    case Key::pageDown:
        return XK_Page_Down;
    case Key::home:
        return XK_Home;
    case Key::end:
        return XK_End;
    case Key::upArrow:
        return XK_Up;
    case Key::rightArrow:
        return XK_Right;
    case Key::downArrow:
        return XK_Down;
    case Key::leftArrow:
        return XK_Left;
    case Key::keypadClear:
        return XK_Clear;
    case Key::keypadDecimal:
        return XK_KP_Decimal;
    case Key::keypadDivide:
        return XK_KP_Divide;
    case Key::keypadEnter:
        return XK_KP_Enter;
    case Key::keypadEquals:
        return XK_KP_Equal;
    case Key::keypadMinus:
        return XK_KP_Subtract;
    case Key::keypadMultiply:
        return XK_KP_Multiply;
    case Key::keypadPlus:
        return XK_KP_Add;
    case Key::escape:
        return XK_Escape;
    case Key::delete_:
        // The Mac's delete key erases backwards.
        return XK_BackSpace;
    case Key::forwardDelete:
        return XK_Delete;
    case Key::help:
        // The Help key sits where PC keyboards have Insert.
        return XK_Insert;
    case Key::volumeUp:
        return XF86XK_AudioRaiseVolume;
    case Key::volumeDown:
        return XF86XK_AudioLowerVolume;
    case Key::mute:
        return XF86XK_AudioMute;
    default:
        return std::nullopt;
    }
}

std::optional<std::uint32_t> X11KeyTable::carbonKeyCode(unsigned long keysym)
{
    if (keysym >= XK_A && keysym <= XK_Z) {
        keysym = XK_a + (keysym - XK_A);
    }
    switch (keysym) {
    case XK_KP_Insert:
        keysym = XK_KP_0;
        break;
    case XK_KP_End:
        keysym = XK_KP_1;
        break;
    case XK_KP_Down:
        keysym = XK_KP_2;
        break;
    case XK_KP_Next:
        keysym = XK_KP_3;
        break;
    case XK_KP_Left:
        keysym = XK_KP_4;
        break;
    case XK_KP_Begin:
        keysym = XK_KP_5;
        break;
    case XK_KP_Right:
        keysym = XK_KP_6;
        break;
    case XK_KP_Home:
        keysym = XK_KP_7;
        break;
    case XK_KP_Up:
        keysym = XK_KP_8;
        break;
    case XK_KP_Prior:
        keysym = XK_KP_9;
        break;
    case XK_KP_Delete:
        keysym = XK_KP_Decimal;
        break;
    case XK_ISO_Left_Tab:
        keysym = XK_Tab;
        break;
    case XK_Help:
        keysym = XK_Insert;
        break;
    case XK_Meta_L:
        keysym = XK_Super_L;
        break;
    case XK_Meta_R:
        keysym = XK_Super_R;
        break;
    default:
        break;
    }
    // Each key has its own symbol, so the first match is the only one.
    for (const Key key : Key::allCases()) {
        if (X11KeyTable::keysym(key.carbonKeyCode()) == keysym) {
            return key.carbonKeyCode();
        }
    }
    return std::nullopt;
}

unsigned int X11KeyTable::modifierMask(std::uint32_t carbonModifiers)
{
    unsigned int mask = 0;
    if (carbonModifiers & ModifierFlags::controlKey) {
        mask |= ControlMask;
    }
    if (carbonModifiers & ModifierFlags::optionKey) {
        mask |= Mod1Mask;
    }
    if (carbonModifiers & ModifierFlags::shiftKey) {
        mask |= ShiftMask;
    }
    if (carbonModifiers & ModifierFlags::cmdKey) {
        mask |= Mod4Mask;
    }
    return mask;
}
