#include "ShortcutText.h"

#include "ModifierFlags.h"

#include <QStringList>

QString ShortcutText::build(std::uint32_t carbonModifiers, const QString& keyText, Style style)
{
    const ModifierFlags modifiers = ModifierFlags::fromCarbonFlags(carbonModifiers);
    if (style == Style::symbols) {
        return modifiers.description() + keyText;
    }

    QStringList parts;
    if (modifiers.contains(ModifierFlags::control)) {
        parts.append(QStringLiteral("Ctrl"));
    }
    if (modifiers.contains(ModifierFlags::option)) {
        parts.append(QStringLiteral("Alt"));
    }
    if (modifiers.contains(ModifierFlags::shift)) {
        parts.append(QStringLiteral("Shift"));
    }
    if (modifiers.contains(ModifierFlags::command)) {
        // The key that stands in for Command on Linux keyboards.
        parts.append(QStringLiteral("Super"));
    }
    if (!keyText.isEmpty()) {
        parts.append(keyText);
    }
    return parts.join(QLatin1Char('+'));
}
