#include "Platform/FileNameCase.h"

#include <QFile>

#include <unistd.h>

Qt::CaseSensitivity FileNameCase::of(const QString& folderPath)
{
    // 1 on a case-sensitive volume, 0 on a case-insensitive one, -1 when the volume cannot tell;
    // macOS volumes are case-insensitive unless formatted otherwise.
    const long answer = ::pathconf(QFile::encodeName(folderPath).constData(), _PC_CASE_SENSITIVE);
    return answer == 1 ? Qt::CaseSensitive : Qt::CaseInsensitive;
}
