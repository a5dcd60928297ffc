#include "Platform/SystemTools.h"

QString SystemTools::defaultLsof()
{
    return QStringLiteral("/usr/bin/lsof");
}

QStringList SystemTools::lsofOptions()
{
    return {QStringLiteral("-w")};
}
