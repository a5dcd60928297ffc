#pragma once

#include <QList>
#include <QStringList>

// The processes running on this machine, read from /proc.
class ProcessTable
{
public:
    // Ids of the live (not zombie) processes whose name is one of `names`.
    static QList<qint64> pidsNamed(const QStringList& names);

    // Those of them that run as this user on this process's display: the same DISPLAY (the
    // screen number aside), or without one the same WAYLAND_DISPLAY. Without either display
    // none count. Another user's browser, or one on another seat, is not ours to drive.
    static QList<qint64> ownPidsNamed(const QStringList& names);
};
