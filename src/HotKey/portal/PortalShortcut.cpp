#include "PortalShortcut.h"

#include <QDBusMetaType>

void PortalShortcut::registerMetaTypes()
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
}

QList<PortalShortcut> PortalShortcut::listFrom(const QVariant& value)
{
    QList<PortalShortcut> shortcuts;
    if (value.canConvert<QDBusArgument>()) {
        const QDBusArgument argument = value.value<QDBusArgument>();
        // Anything else would be read as garbage.
        if (argument.currentSignature() == QLatin1String("a(sa{sv})")) {
            argument >> shortcuts;
        }
        return shortcuts;
    }
    return value.value<QList<PortalShortcut>>();
}

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}
