// The command splitter lives apart from the rest of the manager: it is plain text work, built
// and fuzzed on its own without the coroutines around it.
#include "Managers/ServerManager.h"

QStringList ServerManager::parseCommand(const QString& command)
{
    const QString trimmed = command.trimmed();
    QStringList arguments;
    if (trimmed.isEmpty()) {
        return arguments;
    }

    QString token;
    bool inQuotes = false;
    QChar quote;
    for (const QChar character : trimmed) {
        if (character == QLatin1Char('"') || character == QLatin1Char('\'')) {
            if (!inQuotes) {
                inQuotes = true;
                quote = character;
            } else if (character == quote) {
                inQuotes = false;
            } else {
                token.append(character);
            }
        } else if (character.isSpace() && !inQuotes) {
            if (!token.isEmpty()) {
                arguments.append(token);
                token.clear();
            }
        } else {
            token.append(character);
        }
    }
    if (!token.isEmpty()) {
        arguments.append(token);
    }
    return arguments;
}
