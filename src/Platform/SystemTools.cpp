#include "Platform/SystemTools.h"

namespace {

QString& lsofOverride()
{
    static QString path;
    return path;
}

} // namespace

QString SystemTools::lsof()
{
    return lsofOverride().isEmpty() ? defaultLsof() : lsofOverride();
}

void SystemTools::setLsof(const QString& path)
{
    lsofOverride() = path;
}
