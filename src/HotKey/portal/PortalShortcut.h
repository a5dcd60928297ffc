#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

// One shortcut as the global shortcuts portal carries it: an id and its properties (the
// signature "(sa{sv})").
struct PortalShortcut
{
    QString id;
    QVariantMap properties;

    // Makes the type and its list known to D-Bus; safe to call more than once.
    static void registerMetaTypes();
    // The shortcuts of a results entry, whichever way D-Bus delivered it.
    static QList<PortalShortcut> listFrom(const QVariant& value);
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut);
const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut);

Q_DECLARE_METATYPE(PortalShortcut)
