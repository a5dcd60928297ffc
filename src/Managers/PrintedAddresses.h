#pragma once

#include <QList>
#include <QString>

// The local addresses a development server prints once it is ready ("http://localhost:4321/",
// "Local: http://127.0.0.1:8080"), read from its output as it arrives. Colour codes are removed
// first: bundlers print the port in bold. Whatever the server writes, the work stays bounded:
// only the first textLimit characters of output are looked at, and at most portLimit ports kept.
class PrintedAddresses
{
public:
    static constexpr qsizetype textLimit = 64 * 1024;
    static constexpr qsizetype portLimit = 16;

    // Looks at one chunk of output.
    void read(const QString& chunk);
    // The ports of the local addresses read so far, each once, in the order printed.
    QList<int> ports() const { return found; }

    // `text` without terminal escape sequences (colours, styles, titles).
    static QString withoutEscapes(const QString& text);
    // The ports of the local addresses in `text`, in order; an address without a port is none.
    static QList<int> portsIn(const QString& text);

private:
    qsizetype seen = 0;
    QList<int> found;
};
