#include "Models/Browser.h"

namespace {

struct Row
{
    Browser::Value value;
    const char* raw;
    const char* displayName;
    const char* appName;
    const char* bundleIdentifier;
};

constexpr Row rows[] = {
    {Browser::auto_, "auto", "Auto", "", ""},
    {Browser::chrome, "chrome", "Chrome", "Google Chrome", "com.google.Chrome"},
    {Browser::firefox, "firefox", "Firefox", "Firefox", "org.mozilla.firefox"},
    {Browser::edge, "edge", "Edge", "Microsoft Edge", "com.microsoft.edgemac"},
};

} // namespace

QList<Browser> Browser::allCases()
{
    return {auto_, chrome, firefox, edge};
}

std::optional<Browser> Browser::fromRawValue(const QString& raw)
{
    for (const Row& row : rows) {
        if (raw == QLatin1String(row.raw)) {
            return Browser(row.value);
        }
    }
    return std::nullopt;
}

QString Browser::rawValue() const
{
    return QString::fromLatin1(rows[static_cast<int>(value)].raw);
}

QString Browser::displayName() const
{
    return QString::fromLatin1(rows[static_cast<int>(value)].displayName);
}

QString Browser::appName() const
{
    return QString::fromLatin1(rows[static_cast<int>(value)].appName);
}

QString Browser::bundleIdentifier() const
{
    return QString::fromLatin1(rows[static_cast<int>(value)].bundleIdentifier);
}
