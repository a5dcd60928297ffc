#pragma once

#include <QList>
#include <QString>

#include <optional>

// The browsers wisp can drive. Stored in the settings by raw value. Whether one is installed
// is the platform's to tell (BrowserManager::isInstalled).
class Browser
{
public:
    // `auto_` is the raw value "auto": the system default, resolved at each use.
    enum Value { auto_, chrome, firefox, edge };

    constexpr Browser(Value value = auto_) : value(value) {}
    constexpr operator Value() const { return value; }

    static QList<Browser> allCases();
    static std::optional<Browser> fromRawValue(const QString& raw);

    QString rawValue() const;
    // "Auto", "Chrome", "Firefox", "Edge": used in error texts and pickers.
    QString displayName() const;
    // The application name scripts address; empty for auto.
    QString appName() const;
    // Empty for auto.
    QString bundleIdentifier() const;

private:
    Value value;
};
