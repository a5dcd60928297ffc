#include "Managers/PrintedAddresses.h"

#include <QRegularExpression>

void PrintedAddresses::read(const QString& chunk)
{
    if (seen >= textLimit || found.size() >= portLimit) {
        return;
    }
    const QString text = chunk.left(textLimit - seen);
    seen += text.size();
    for (const int port : portsIn(withoutEscapes(text))) {
        if (found.size() < portLimit && !found.contains(port)) {
            found.append(port);
        }
    }
}

QString PrintedAddresses::withoutEscapes(const QString& text)
{
    // Control sequences (ESC [ ... final byte), operating system commands (ESC ] ... BEL or
    // ESC \) and the two-character escapes.
    static const QRegularExpression escapes(QStringLiteral(
        "\\x1B\\[[0-?]*[ -/]*[@-~]|\\x1B\\][^\\x07\\x1B]*(?:\\x07|\\x1B\\\\)?|\\x1B[@-Z\\\\-_]"));
    QString plain = text;
    plain.remove(escapes);
    return plain;
}

QList<int> PrintedAddresses::portsIn(const QString& text)
{
    // Only this machine's own names: the network addresses a server also lists lead to the same
    // port, and anything else is no local site.
    static const QRegularExpression address(
        QStringLiteral("\\bhttps?://(?:localhost|127(?:\\.\\d{1,3}){3}|0\\.0\\.0\\.0|\\[::1?\\])"
                       ":(\\d{1,5})(?!\\d)"),
        QRegularExpression::CaseInsensitiveOption);
    QList<int> ports;
    QRegularExpressionMatchIterator matches = address.globalMatch(text);
    while (matches.hasNext()) {
        const int port = matches.next().captured(1).toInt();
        if (port >= 1 && port <= 65535) {
            ports.append(port);
        }
    }
    return ports;
}
