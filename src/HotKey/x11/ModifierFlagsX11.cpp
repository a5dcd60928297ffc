#include "HotKey/ModifierFlags.h"

// On X11, Qt names the keys as printed: Meta is the Super key, which stands in for Command.
ModifierFlags ModifierFlags::fromQt(Qt::KeyboardModifiers modifiers)
{
    ModifierFlags flags;
    if (modifiers & Qt::ControlModifier) {
        flags |= control;
    }
    if (modifiers & Qt::AltModifier) {
        flags |= option;
    }
    if (modifiers & Qt::ShiftModifier) {
        flags |= shift;
    }
    if (modifiers & Qt::MetaModifier) {
        flags |= command;
    }
    return flags;
}
