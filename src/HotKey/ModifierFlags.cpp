#include "ModifierFlags.h"

ModifierFlags ModifierFlags::fromCarbonFlags(std::uint32_t carbonFlags)
{
    ModifierFlags flags;
    if (carbonFlags & cmdKey) {
        flags |= command;
    }
    if (carbonFlags & shiftKey) {
        flags |= shift;
    }
    if (carbonFlags & optionKey) {
        flags |= option;
    }
    if (carbonFlags & controlKey) {
        flags |= control;
    }
    return flags;
}

std::uint32_t ModifierFlags::carbonFlags() const
{
    std::uint32_t carbon = 0;
    if (contains(command)) {
        carbon |= cmdKey;
    }
    if (contains(shift)) {
        carbon |= shiftKey;
    }
    if (contains(option)) {
        carbon |= optionKey;
    }
    if (contains(control)) {
        carbon |= controlKey;
    }
    return carbon;
}

QString ModifierFlags::description() const
{
    QString text;
    if (contains(control)) {
        text += QStringLiteral("⌃");
    }
    if (contains(option)) {
        text += QStringLiteral("⌥");
    }
    if (contains(shift)) {
        text += QStringLiteral("⇧");
    }
    if (contains(command)) {
        text += QStringLiteral("⌘");
    }
    return text;
}
