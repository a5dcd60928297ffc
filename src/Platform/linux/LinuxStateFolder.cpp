#include "Platform/StateFolder.h"

#include <QDir>

QString StateFolder::path()
{
    // As for every XDG base directory, a relative XDG_STATE_HOME is invalid and ignored.
    const QString configured = qEnvironmentVariable("XDG_STATE_HOME");
    const QString base = !configured.isEmpty() && QDir::isAbsolutePath(configured)
                             ? configured
                             : QDir::homePath() + QStringLiteral("/.local/state");
    return QDir::cleanPath(base + QStringLiteral("/wisp"));
}
