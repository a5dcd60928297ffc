// The split of a project's start command into program and arguments.

#include "FuzzSupport.h"

#include "Managers/ServerManager.h"

FUZZ_INITIALIZE()

namespace {

bool isQuote(QChar character)
{
    return character == QLatin1Char('"') || character == QLatin1Char('\'');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString command = fuzz::text(data, size);
    const QStringList arguments = ServerManager::parseCommand(command);

    // Nothing is added: the arguments hold at most the command's characters.
    bool hasQuote = false;
    for (const QChar character : command) {
        hasQuote = hasQuote || isQuote(character);
    }
    qsizetype total = 0;
    for (const QString& argument : arguments) {
        FUZZ_CHECK(!argument.isEmpty());
        total += argument.size();
    }
    FUZZ_CHECK(total <= command.size());

    if (!hasQuote) {
        // Without quotes the split is a plain split at white space.
        QStringList words;
        QString word;
        for (const QChar character : command) {
            if (character.isSpace()) {
                if (!word.isEmpty()) {
                    words.append(word);
                }
                word.clear();
            } else {
                word.append(character);
            }
        }
        if (!word.isEmpty()) {
            words.append(word);
        }
        FUZZ_CHECK(arguments == words);
        // And splitting the joined words again changes nothing.
        FUZZ_CHECK(ServerManager::parseCommand(arguments.join(QLatin1Char(' '))) == arguments);
    }

    // Every argument that holds no quote and no white space survives a round trip alone.
    for (const QString& argument : arguments) {
        bool plain = true;
        for (const QChar character : argument) {
            plain = plain && !isQuote(character) && !character.isSpace();
        }
        if (plain) {
            FUZZ_CHECK(ServerManager::parseCommand(argument) == QStringList{argument});
        }
    }
    return 0;
}
