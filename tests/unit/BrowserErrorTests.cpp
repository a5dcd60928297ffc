#include "Models/BrowserError.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

namespace {

QVariantMap scriptError(const QVariant& number, const QVariant& message)
{
    QVariantMap error;
    if (number.isValid()) {
        error.insert(QStringLiteral("NSAppleScriptErrorNumber"), number);
    }
    if (message.isValid()) {
        error.insert(QStringLiteral("NSAppleScriptErrorMessage"), message);
    }
    return error;
}

} // namespace

TEST(BrowserErrorTest, DescriptionsAndRecoverySuggestions)
{
    const BrowserError denied = BrowserError::permissionDenied(Browser::chrome);
    EXPECT_EQ(denied.errorDescription(), QStringLiteral("Permission denied to control Chrome"));
    EXPECT_EQ(denied.recoverySuggestion(),
              QStringLiteral("Grant Automation permission in System Settings → Privacy & Security "
                             "→ Automation"));

    const BrowserError notFound = BrowserError::browserNotFound(Browser::firefox);
    EXPECT_EQ(notFound.errorDescription(), QStringLiteral("Firefox is not installed"));
    EXPECT_EQ(notFound.recoverySuggestion(),
              QStringLiteral("Install Firefox or select a different browser in settings"));

    const BrowserError failed = BrowserError::scriptFailed(Browser::edge, QStringLiteral("boom"));
    EXPECT_EQ(failed.errorDescription(), QStringLiteral("Failed to control Edge: boom"));
    EXPECT_EQ(failed.recoverySuggestion(),
              QStringLiteral("Try restarting the browser or selecting a different one"));

    const BrowserError timeout = BrowserError::timeout(Browser::edge);
    EXPECT_EQ(timeout.errorDescription(), QStringLiteral("Edge is not responding"));
    EXPECT_EQ(timeout.recoverySuggestion(), QStringLiteral("Force quit and restart the browser"));

    const BrowserError unknown = BrowserError::unknown(QStringLiteral("odd"));
    EXPECT_EQ(unknown.errorDescription(), QStringLiteral("Browser error: odd"));
    EXPECT_EQ(unknown.recoverySuggestion(), QStringLiteral("Try restarting the application"));
}

TEST(BrowserErrorTest, LocalizedDescriptionAndWhatAreTheDescription)
{
    const BrowserError error = BrowserError::browserNotFound(Browser::chrome);
    EXPECT_EQ(error.localizedDescription(), QStringLiteral("Chrome is not installed"));
    EXPECT_STREQ(error.what(), "Chrome is not installed");
}

TEST(BrowserErrorTest, TimeoutForChromeSaysChromeIsNotResponding)
{
    EXPECT_EQ(BrowserError::timeout(Browser::chrome).errorDescription(),
              QStringLiteral("Chrome is not responding"));
    EXPECT_EQ(BrowserError::from(scriptError(-1712, QStringLiteral("AppleEvent timed out.")),
                                 Browser::chrome)
                  .errorDescription(),
              QStringLiteral("Chrome is not responding"));
}

TEST(BrowserErrorTest, UnresolvedAutoUsesTheNameAuto)
{
    EXPECT_EQ(BrowserError::permissionDenied(Browser::auto_).errorDescription(),
              QStringLiteral("Permission denied to control Auto"));
    EXPECT_EQ(BrowserError::browserNotFound(Browser::auto_).errorDescription(),
              QStringLiteral("Auto is not installed"));
    EXPECT_EQ(BrowserError::browserNotFound(Browser::auto_).recoverySuggestion(),
              QStringLiteral("Install Auto or select a different browser in settings"));
    EXPECT_EQ(BrowserError::scriptFailed(Browser::auto_, QStringLiteral("x")).errorDescription(),
              QStringLiteral("Failed to control Auto: x"));
    EXPECT_EQ(BrowserError::timeout(Browser::auto_).errorDescription(),
              QStringLiteral("Auto is not responding"));
}

TEST(BrowserErrorTest, NumberMapping)
{
    const QString message = QStringLiteral("Something went wrong.");
    EXPECT_EQ(BrowserError::from(scriptError(-10006, message), Browser::chrome),
              BrowserError::permissionDenied(Browser::chrome));
    // -1743 (not permitted) reports as not installed, on purpose.
    EXPECT_EQ(BrowserError::from(scriptError(-1743, message), Browser::chrome),
              BrowserError::browserNotFound(Browser::chrome));
    EXPECT_EQ(BrowserError::from(scriptError(-1728, message), Browser::edge),
              BrowserError::browserNotFound(Browser::edge));
    EXPECT_EQ(BrowserError::from(scriptError(-1712, message), Browser::firefox),
              BrowserError::timeout(Browser::firefox));
    EXPECT_EQ(BrowserError::from(scriptError(-2741, message), Browser::chrome),
              BrowserError::scriptFailed(Browser::chrome, message));
    EXPECT_EQ(BrowserError::from(scriptError(-1, message), Browser::chrome),
              BrowserError::scriptFailed(Browser::chrome, message));
    EXPECT_EQ(BrowserError::from(scriptError(0, message), Browser::edge),
              BrowserError::scriptFailed(Browser::edge, message));
    EXPECT_EQ(BrowserError::from(scriptError(qlonglong(-1743), message), Browser::chrome),
              BrowserError::browserNotFound(Browser::chrome));
    EXPECT_EQ(BrowserError::from(scriptError(QVariant::fromValue<short>(-1712), message),
                                 Browser::chrome),
              BrowserError::timeout(Browser::chrome));
}

TEST(BrowserErrorTest, PermissionCaseOnlyThroughMinus10006)
{
    for (const int number : {-1743, -1728, -1712, -1, 1, -10004, -10005, -10007}) {
        EXPECT_NE(BrowserError::from(scriptError(number, QStringLiteral("m")), Browser::chrome)
                      .errorCase(),
                  BrowserError::Case::permissionDenied)
            << number;
    }
}

TEST(BrowserErrorTest, MissingNumberGivesScriptFailedWithTheMessage)
{
    const BrowserError error = BrowserError::from(
        scriptError(QVariant(), QStringLiteral("Expected end of line.")), Browser::chrome);
    EXPECT_EQ(error,
              BrowserError::scriptFailed(Browser::chrome, QStringLiteral("Expected end of line.")));
    EXPECT_EQ(error.errorDescription(),
              QStringLiteral("Failed to control Chrome: Expected end of line."));
}

TEST(BrowserErrorTest, MissingNumberAndMessageGivesUnknownError)
{
    const BrowserError error = BrowserError::from(QVariantMap(), Browser::firefox);
    EXPECT_EQ(error, BrowserError::scriptFailed(Browser::firefox, QStringLiteral("Unknown error")));
    EXPECT_EQ(error.errorDescription(), QStringLiteral("Failed to control Firefox: Unknown error"));
}

TEST(BrowserErrorTest, EntriesOfTheWrongTypeCountAsMissing)
{
    // A number that is not an integer is -1; a message that is not text is "Unknown error".
    EXPECT_EQ(BrowserError::from(scriptError(QStringLiteral("-1743"), 42), Browser::chrome),
              BrowserError::scriptFailed(Browser::chrome, QStringLiteral("Unknown error")));
    EXPECT_EQ(BrowserError::from(scriptError(-1743.5, QStringLiteral("m")), Browser::chrome),
              BrowserError::scriptFailed(Browser::chrome, QStringLiteral("m")));
}

TEST(BrowserErrorTest, MappingNeverProducesUnknown)
{
    for (const int number : {-10006, -1743, -1728, -1712, -1, 0, 12345}) {
        EXPECT_NE(BrowserError::from(scriptError(number, QVariant()), Browser::auto_).errorCase(),
                  BrowserError::Case::unknown);
    }
}

TEST(BrowserErrorTest, ErrorsOfAutoMapWithTheNameAuto)
{
    EXPECT_EQ(BrowserError::from(scriptError(-1728, QVariant()), Browser::auto_).errorDescription(),
              QStringLiteral("Auto is not installed"));
}
