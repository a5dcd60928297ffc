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

Qt::KeyboardModifiers ModifierFlags::toQt() const
{
    Qt::KeyboardModifiers modifiers;
    if (contains(control)) {
        modifiers |= Qt::ControlModifier;
    }
    if (contains(option)) {
        modifiers |= Qt::AltModifier;
    }
    if (contains(shift)) {
        modifiers |= Qt::ShiftModifier;
    }
    if (contains(command)) {
        modifiers |= Qt::MetaModifier;
    }
    return modifiers;
}

Qt::KeyboardModifiers ModifierFlags::toQtApplicationShortcut() const
{
    Qt::KeyboardModifiers modifiers;
    if (contains(command)) {
        modifiers |= Qt::ControlModifier;
    }
    if (contains(control)) {
        modifiers |= Qt::MetaModifier;
    }
    if (contains(option)) {
        modifiers |= Qt::AltModifier;
    }
    if (contains(shift)) {
        modifiers |= Qt::ShiftModifier;
    }
    return modifiers;
}
