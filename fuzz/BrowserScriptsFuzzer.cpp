// Addresses spliced into the browsers' AppleScript programs: whatever the address, it stays
// inside its string literal, and the program around it is the one a harmless address gets.

#include "FuzzSupport.h"

#include "Utilities/Addresses.h"
#include "Utilities/BrowserScripts.h"

#include <functional>
#include <optional>

FUZZ_INITIALIZE()

namespace {

const QString harmless = QStringLiteral("localhost:3000");

// The text of the AppleScript string literal that opens just before `start`, decoded, and the
// index of its closing quote; nullopt when the literal never closes. A backslash takes the next
// character as it is (\n, \r and \t would stand for control characters, which the address does
// not hold, so they count as a change of the text). A line break does not end an AppleScript
// literal.
struct Literal
{
    QString text;
    qsizetype closingQuote;
};

std::optional<Literal> readLiteral(const QString& script, qsizetype start)
{
    Literal literal;
    for (qsizetype i = start; i < script.size(); ++i) {
        const QChar character = script.at(i);
        if (character == QLatin1Char('"')) {
            literal.closingQuote = i;
            return literal;
        }
        if (character == QLatin1Char('\\')) {
            if (++i == script.size()) {
                return std::nullopt;
            }
            const QChar escaped = script.at(i);
            if (escaped == QLatin1Char('n')) {
                literal.text.append(QLatin1Char('\n'));
            } else if (escaped == QLatin1Char('r')) {
                literal.text.append(QLatin1Char('\r'));
            } else if (escaped == QLatin1Char('t')) {
                literal.text.append(QLatin1Char('\t'));
            } else {
                literal.text.append(escaped);
            }
            continue;
        }
        literal.text.append(character);
    }
    return std::nullopt;
}

// `make` builds a script around an address; the script for `address` must be the harmless one
// with only the literal's content replaced, and that content must read back as `address`.
void checkScript(const std::function<QString(const QString&)>& make, const QString& address)
{
    const QString reference = make(harmless);
    const QString script = make(address);
    const qsizetype at = reference.indexOf(harmless);
    if (at < 0) {
        // This script holds no address.
        FUZZ_CHECK(script == reference);
        return;
    }
    const QString before = reference.left(at);
    const QString after = reference.mid(at + harmless.size());
    FUZZ_CHECK(before.endsWith(QLatin1Char('"')));
    FUZZ_CHECK(after.startsWith(QLatin1Char('"')));
    FUZZ_CHECK(script.startsWith(before));

    const auto literal = readLiteral(script, before.size());
    FUZZ_CHECK(literal.has_value());
    FUZZ_CHECK(literal->text == address);
    FUZZ_CHECK(script.mid(literal->closingQuote) == after);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QString input = fuzz::text(data, size);
    // The address as given, and as the browser manager prepares a custom address.
    const QString prepared = Addresses::browserAddress(Addresses::customAddress(input));
    for (const Browser browser : Browser::allCases()) {
        for (const QString& address : {input, prepared, BrowserScripts::findTabAddress(prepared)}) {
            checkScript([browser](const QString& a) { return BrowserScripts::findTab(browser, a); },
                        address);
            checkScript(
                [browser](const QString& a) {
                    return BrowserScripts::openPrivateWindow(browser, a);
                },
                address);
        }
    }
    return 0;
}
