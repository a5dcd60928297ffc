#pragma once

#include <QList>
#include <QStringList>

// The processes running on this machine, read from /proc.
class ProcessTable
{
public:
    // Ids of the live (not zombie) processes whose name is one of `names`.
    static QList<qint64> pidsNamed(const QStringList& names);
};
