#include "HotKey/ModifierFlags.h"

#include <QCoreApplication>

// On macOS, Qt calls the Command key Control and the Control key Meta, unless the application
// asked it not to swap them.
ModifierFlags ModifierFlags::fromQt(Qt::KeyboardModifiers modifiers)
{
    const bool swapped = !QCoreApplication::testAttribute(Qt::AA_MacDontSwapCtrlAndMeta);
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
