// osascript's error line is read apart from the runner: plain text work, built and fuzzed on
// its own without the coroutines around it.
#include "Platform/OsascriptRunner.h"

#include "Models/BrowserError.h"

#include <QRegularExpression>

QVariantMap OsascriptRunner::parseError(const QString& standardError)
{
    // The last non-empty line carries the error; earlier ones are warnings or logging.
    QString line;
    const QStringList lines = standardError.split(QLatin1Char('\n'));
    for (auto it = lines.crbegin(); it != lines.crend(); ++it) {
        if (!it->trimmed().isEmpty()) {
            line = it->trimmed();
            break;
        }
    }

    QVariantMap error;
    if (line.isEmpty()) {
        return error;
    }

    static const QRegularExpression position(QStringLiteral("^\\d+:\\d+:\\s*"));
    static const QRegularExpression kind(
        QStringLiteral("^(?:execution|syntax|script|compile) error:\\s*"));
    static const QRegularExpression number(QStringLiteral("\\s*\\((-?\\d+)\\)$"));

    line.remove(position);
    line.remove(kind);
    const QRegularExpressionMatch match = number.match(line);
    if (match.hasMatch()) {
        bool ok = false;
        const int value = match.captured(1).toInt(&ok);
        if (ok) {
            error.insert(BrowserError::errorNumberKey, value);
        }
        line.truncate(match.capturedStart());
    }
    if (!line.isEmpty()) {
        error.insert(BrowserError::errorMessageKey, line);
    }
    return error;
}
