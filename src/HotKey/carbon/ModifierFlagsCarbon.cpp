#include "HotKey/ModifierFlags.h"

#include <QCoreApplication>

namespace {

// On macOS, Qt calls the Command key Control and the Control key Meta, unless the application
// asked it not to swap them.
bool qtSwapsControlAndMeta()
{
    return !QCoreApplication::testAttribute(Qt::AA_MacDontSwapCtrlAndMeta);
}

} // namespace

ModifierFlags ModifierFlags::fromQt(Qt::KeyboardModifiers modifiers)
{
    const bool swapped = qtSwapsControlAndMeta();
    const Qt::KeyboardModifier commandModifier = swapped ? Qt::ControlModifier : Qt::MetaModifier;
    const Qt::KeyboardModifier controlModifier = swapped ? Qt::MetaModifier : Qt::ControlModifier;

    ModifierFlags flags;
    if (modifiers & controlModifier) {
        flags |= control;
    }
    if (modifiers & Qt::AltModifier) {
        flags |= option;
    }
    if (modifiers & Qt::ShiftModifier) {
        flags |= shift;
    }
    if (modifiers & commandModifier) {
        flags |= command;
    }
    return flags;
}

Qt::KeyboardModifiers ModifierFlags::toQt() const
{
    const bool swapped = qtSwapsControlAndMeta();
    const Qt::KeyboardModifier commandModifier = swapped ? Qt::ControlModifier : Qt::MetaModifier;
    const Qt::KeyboardModifier controlModifier = swapped ? Qt::MetaModifier : Qt::ControlModifier;

    Qt::KeyboardModifiers modifiers;
    if (contains(control)) {
        modifiers |= controlModifier;
    }
    if (contains(option)) {
        modifiers |= Qt::AltModifier;
    }
    if (contains(shift)) {
        modifiers |= Qt::ShiftModifier;
    }
    if (contains(command)) {
        modifiers |= commandModifier;
    }
    return modifiers;
}

Qt::KeyboardModifiers ModifierFlags::toQtApplicationShortcut() const
{
    // On macOS an application shortcut presses the same keys as a global one.
    return toQt();
}
