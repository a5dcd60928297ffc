#include "WaylandSession.h"

bool WaylandSession::isActive(const QProcessEnvironment& environment, const QString& qtPlatformName)
{
    if (qtPlatformName == QLatin1String("offscreen") ||
        qtPlatformName == QLatin1String("minimal")) {
        return false;
    }
    return environment.value(QStringLiteral("XDG_SESSION_TYPE")) == QLatin1String("wayland") ||
           !environment.value(QStringLiteral("WAYLAND_DISPLAY")).isEmpty();
}
