#pragma once

#include <QProcessEnvironment>
#include <QString>

// Whether the desktop session is a Wayland one, where no client may grab keys of its own and
// global shortcuts go through the desktop portal instead.
class WaylandSession
{
public:
    WaylandSession() = delete;

    // A session that says it is Wayland, or has a Wayland display, unless Qt runs on a platform
    // without any display (offscreen, minimal), where no shortcut can be had either way.
    static bool isActive(const QProcessEnvironment& environment, const QString& qtPlatformName);
};
