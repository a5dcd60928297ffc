#pragma once

#include "Models/Browser.h"
#include "Models/WispError.h"

#include <QVariantMap>

// Every failure of browser automation, with the texts the alert shows.
class BrowserError : public WispError
{
public:
    enum class Case { permissionDenied, browserNotFound, scriptFailed, timeout, unknown };

    // Keys of a script error dictionary, as the script runner reports them.
    static inline const QString errorNumberKey = QStringLiteral("NSAppleScriptErrorNumber");
    static inline const QString errorMessageKey = QStringLiteral("NSAppleScriptErrorMessage");

    static BrowserError permissionDenied(Browser browser);
    static BrowserError browserNotFound(Browser browser);
    static BrowserError scriptFailed(Browser browser, const QString& message);
    static BrowserError timeout(Browser browser);
    static BrowserError unknown(const QString& message);

    // Maps a script runner's error dictionary to a case by its error number.
    static BrowserError from(const QVariantMap& appleScriptError, Browser browser);

    Case errorCase() const { return kind; }
    Browser browser() const { return target; }
    QString message() const { return text; }

    QString errorDescription() const override;
    std::optional<QString> recoverySuggestion() const override;

    bool operator==(const BrowserError& other) const;

private:
    BrowserError(Case kind, Browser browser, QString message);

    Case kind;
    Browser target;
    QString text;
};
