#include "Platform/StateFolder.h"

#include <QDir>

QString StateFolder::path()
{
    // Console.app lists ~/Library/Logs, which is where a user looks for an application's logs.
    return QDir::homePath() + QStringLiteral("/Library/Logs/wisp");
}
