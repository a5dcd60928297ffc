#include "Platform/SystemTools.h"

QString SystemTools::defaultLsof()
{
    return QStringLiteral("/usr/sbin/lsof");
}

QStringList SystemTools::lsofOptions()
{
    return {};
}
