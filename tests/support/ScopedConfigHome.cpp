#include "ScopedConfigHome.h"

#include <QtGlobal>

ScopedConfigHome::ScopedConfigHome() : previous(qgetenv("XDG_CONFIG_HOME"))
{
    qputenv("XDG_CONFIG_HOME", path().toLocal8Bit());
}

ScopedConfigHome::~ScopedConfigHome()
{
    qputenv("XDG_CONFIG_HOME", previous);
}
