#include "Utilities/OutputLines.h"

#include <QRegularExpression>

#include <algorithm>

OutputLines::OutputLines(qsizetype capacity, bool keepBlankLines)
    : limit(std::max<qsizetype>(capacity, 0)), keepBlank(keepBlankLines)
{}

QList<OutputLines::Line> OutputLines::append(const QString& chunk, bool isError)
{
    QList<Line> added;
    const QStringList parts = split(chunk);
    for (const QString& part : parts) {
        if (!keepBlank && part.trimmed().isEmpty()) {
            continue;
        }
        if (part.size() > maxLineLength) {
            added.append(
                Line{part.left(maxLineLength) +
                         QStringLiteral(" … (%1 more characters)").arg(part.size() - maxLineLength),
                     isError});
            continue;
        }
        added.append(Line{part, isError});
    }
    if (added.size() > limit) {
        added.remove(0, added.size() - limit);
    }
    const qsizetype overflow = stored.size() + added.size() - limit;
    if (overflow > 0) {
        stored.remove(0, overflow);
    }
    stored.append(added);
    return added;
}

void OutputLines::clear()
{
    stored.clear();
}

QStringList OutputLines::texts() const
{
    QStringList result;
    result.reserve(stored.size());
    for (const Line& line : stored) {
        result.append(line.text);
    }
    return result;
}

QStringList OutputLines::split(const QString& chunk)
{
    // CSI sequences (colours, cursor movement) and OSC sequences (titles, links).
    static const QRegularExpression escapes(
        QStringLiteral("\\x1b\\[[0-?]*[ -/]*[@-~]|\\x1b\\][^\\x07\\x1b]*(?:\\x07|\\x1b\\\\)?|"
                       "\\x1b[@-Z\\\\-_]"));
    QString text = chunk;
    text.remove(escapes);
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));

    QStringList lines = text.split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    for (QString& line : lines) {
        // What a terminal shows of a line rewritten in place: its last non-empty version.
        const QStringList versions = line.split(QLatin1Char('\r'), Qt::SkipEmptyParts);
        line = versions.isEmpty() ? QString() : versions.last();
    }
    return lines;
}
