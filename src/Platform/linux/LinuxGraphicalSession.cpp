#include "Platform/GraphicalSession.h"

QString GraphicalSession::missingDisplayReason(const QProcessEnvironment& environment)
{
    // A platform chosen by hand (offscreen, vnc, ...) needs no display server.
    const auto isSet = [&](const QString& name) {
        return !environment.value(name).isEmpty();
    };
    if (isSet(QStringLiteral("QT_QPA_PLATFORM")) || isSet(QStringLiteral("DISPLAY")) ||
        isSet(QStringLiteral("WAYLAND_DISPLAY"))) {
        return QString();
    }
    return QStringLiteral("wisp: no display to show the tray icon on (neither DISPLAY nor "
                          "WAYLAND_DISPLAY is set)");
}
