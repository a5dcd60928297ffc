#include "Models/BrowserError.h"

BrowserError::BrowserError(Case kind, Browser browser, QString message)
    : kind(kind), target(browser), text(std::move(message))
{}

BrowserError BrowserError::permissionDenied(Browser browser)
{
    return BrowserError(Case::permissionDenied, browser, QString());
}

BrowserError BrowserError::browserNotFound(Browser browser)
{
    return BrowserError(Case::browserNotFound, browser, QString());
}

BrowserError BrowserError::scriptFailed(Browser browser, const QString& message)
{
    return BrowserError(Case::scriptFailed, browser, message);
}

BrowserError BrowserError::timeout(Browser browser)
{
    return BrowserError(Case::timeout, browser, QString());
}

BrowserError BrowserError::unknown(const QString& message)
{
    return BrowserError(Case::unknown, Browser::auto_, message);
}

BrowserError BrowserError::from(const QVariantMap& appleScriptError, Browser browser)
{
    // Any integer type counts (a runner may report a long); text or a fraction does not.
    const QVariant numberValue = appleScriptError.value(errorNumberKey);
    int number = -1;
    switch (numberValue.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort: {
        bool fits = false;
        const int value = numberValue.toInt(&fits);
        if (fits) {
            number = value;
        }
        break;
    }
    default:
        break;
    }

    const QVariant messageValue = appleScriptError.value(errorMessageKey);
    const QString message = messageValue.typeId() == QMetaType::QString
                                ? messageValue.toString()
                                : QStringLiteral("Unknown error");

    switch (number) {
    case -10006:
        return permissionDenied(browser);
    case -1743:
    case -1728:
        // -1743 is the "not permitted" number, reported as not installed on purpose.
        return browserNotFound(browser);
    case -1712:
        return timeout(browser);
    default:
        return scriptFailed(browser, message);
    }
}

QString BrowserError::errorDescription() const
{
    const QString name = target.displayName();
    switch (kind) {
    case Case::permissionDenied:
        return QStringLiteral("Permission denied to control ") + name;
    case Case::browserNotFound:
        return name + QStringLiteral(" is not installed");
    case Case::scriptFailed:
        return QStringLiteral("Failed to control ") + name + QStringLiteral(": ") + text;
    case Case::timeout:
        return name + QStringLiteral(" is not responding");
    case Case::unknown:
        return QStringLiteral("Browser error: ") + text;
    }
    return QString();
}

std::optional<QString> BrowserError::recoverySuggestion() const
{
    switch (kind) {
    case Case::permissionDenied:
        return QStringLiteral("Grant Automation permission in System Settings → Privacy & "
                              "Security → Automation");
    case Case::browserNotFound:
        return QStringLiteral("Install ") + target.displayName() +
               QStringLiteral(" or select a different browser in settings");
    case Case::scriptFailed:
        return QStringLiteral("Try restarting the browser or selecting a different one");
    case Case::timeout:
        return QStringLiteral("Force quit and restart the browser");
    case Case::unknown:
        return QStringLiteral("Try restarting the application");
    }
    return std::nullopt;
}

bool BrowserError::operator==(const BrowserError& other) const
{
    return kind == other.kind && target == other.target && text == other.text;
}
