#include "PortalTrigger.h"

#include "HotKey/x11/X11KeyTable.h"

#include <QStringList>

#include <X11/Xlib.h>

QString PortalTrigger::fromKeyCombo(const KeyCombo& keyCombo)
{
    const std::optional<unsigned long> keysym = X11KeyTable::keysym(keyCombo.carbonKeyCode);
    const char* name = keysym ? XKeysymToString(*keysym) : nullptr;
    if (!name) {
        return QString();
    }
    // Carbon bits: control 0x1000, option 0x800, shift 0x200, command 0x100.
    QStringList parts;
    if (keyCombo.carbonModifiers & 0x1000) {
        parts << QStringLiteral("CTRL");
    }
    if (keyCombo.carbonModifiers & 0x800) {
        parts << QStringLiteral("ALT");
    }
    if (keyCombo.carbonModifiers & 0x200) {
        parts << QStringLiteral("SHIFT");
    }
    if (keyCombo.carbonModifiers & 0x100) {
        parts << QStringLiteral("LOGO");
    }
    parts << QString::fromLatin1(name);
    return parts.join(QLatin1Char('+'));
}
