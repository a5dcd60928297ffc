#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// A server's output as lines, standard output and error interleaved in the order they arrived,
// keeping only the newest `capacity` lines so that memory stays bounded whatever the server
// prints.
class OutputLines
{
public:
    struct Line
    {
        QString text;
        bool isError = false;

        bool operator==(const Line&) const = default;
    };

    // Longer lines keep this many characters and a note of how many were cut, so that the
    // memory of `capacity` lines stays bounded whatever a server prints (a minified bundle's
    // line); the files in the log folder hold them whole.
    static constexpr qsizetype maxLineLength = 1000;

    // `keepBlankLines` false drops lines that hold nothing but white space.
    explicit OutputLines(qsizetype capacity, bool keepBlankLines = true);

    // Adds one chunk as it was read; returns the lines it added (at most `capacity`).
    QList<Line> append(const QString& chunk, bool isError);
    void clear();

    const QList<Line>& lines() const { return stored; }
    QStringList texts() const;
    qsizetype capacity() const { return limit; }

    // A chunk as the lines a terminal would show: split at line ends ("\n", "\r\n"), a line
    // rewritten after a lone "\r" keeps only its last version, and colour and cursor escape
    // sequences are removed. A final line end ends the last line; no empty line follows it.
    static QStringList split(const QString& chunk);

private:
    qsizetype limit;
    bool keepBlank;
    QList<Line> stored;
};
