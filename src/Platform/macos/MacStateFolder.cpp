#include "Platform/StateFolder.h"

#include <QDir>

QString StateFolder::path()
{
    // An absolute XDG_STATE_HOME wins, as on Linux: the tests point it at a temporary folder, and
    // a user who sets it on a Mac asked for it. Otherwise Console.app lists ~/Library/Logs, which
    // is where a user looks for an application's logs.
    const QString configured = qEnvironmentVariable("XDG_STATE_HOME");
    if (!configured.isEmpty() && QDir::isAbsolutePath(configured)) {
        return QDir::cleanPath(configured + QStringLiteral("/wisp"));
    }
    return QDir::homePath() + QStringLiteral("/Library/Logs/wisp");
}
