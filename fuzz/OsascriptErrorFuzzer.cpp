// osascript's standard error read into an error dictionary, and that dictionary made a
// BrowserError: only the two known keys, of the types the mapping reads, and texts for every
// case.

#include "FuzzSupport.h"

#include "Models/BrowserError.h"
#include "Platform/OsascriptRunner.h"

FUZZ_INITIALIZE()

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const QList<Browser> browsers = Browser::allCases();
    const Browser browser = browsers.at(data[0] % browsers.size());
    const QString standardError = fuzz::text(data + 1, size - 1);

    const QVariantMap error = OsascriptRunner::parseError(standardError);
    for (auto it = error.cbegin(); it != error.cend(); ++it) {
        FUZZ_CHECK(it.key() == BrowserError::errorNumberKey ||
                   it.key() == BrowserError::errorMessageKey);
    }
    if (error.contains(BrowserError::errorNumberKey)) {
        FUZZ_CHECK(error.value(BrowserError::errorNumberKey).typeId() == QMetaType::Int);
    }
    if (error.contains(BrowserError::errorMessageKey)) {
        const QVariant message = error.value(BrowserError::errorMessageKey);
        FUZZ_CHECK(message.typeId() == QMetaType::QString);
        FUZZ_CHECK(!message.toString().isEmpty());
        // The message is a part of one line of the text.
        FUZZ_CHECK(!message.toString().contains(QLatin1Char('\n')));
        FUZZ_CHECK(standardError.contains(message.toString()));
    }
    if (standardError.trimmed().isEmpty()) {
        FUZZ_CHECK(error.isEmpty());
    }

    const BrowserError browserError = BrowserError::from(error, browser);
    FUZZ_CHECK(!browserError.errorDescription().isEmpty());
    (void)browserError.recoverySuggestion();
    FUZZ_CHECK(browserError == BrowserError::from(error, browser));
    if (browserError.errorCase() == BrowserError::Case::scriptFailed) {
        FUZZ_CHECK(browserError.browser() == browser);
        if (error.contains(BrowserError::errorMessageKey)) {
            FUZZ_CHECK(browserError.message() == error.value(BrowserError::errorMessageKey));
        }
    }
    return 0;
}
