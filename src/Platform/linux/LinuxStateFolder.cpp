#include "Platform/StateFolder.h"

#include <QDir>

QString StateFolder::path()
{
    // The base directory specification ignores a relative XDG_STATE_HOME as invalid.
    const QString configured = qEnvironmentVariable("XDG_STATE_HOME");
    const QString base = !configured.isEmpty() && QDir::isAbsolutePath(configured)
                             ? configured
                             : QDir::homePath() + QStringLiteral("/.local/state");
    return QDir::cleanPath(base + QStringLiteral("/wisp"));
}
