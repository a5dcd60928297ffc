#pragma once

#include <QString>

#include <optional>

// Where a project's port came from. Stored by raw value. Port detection names it
// `PortDetector::PortSource`; it lives here so that the project model can hold one without
// depending on the detector.
class PortSource
{
public:
    enum Value {
        env,
        packageJson,
        viteConfig,
        vueConfig,
        angularJson,
        nuxtConfig,
        manual,
        defaultValue,
        framework, // the usual port of the framework the project's files name
        entryFile  // the port the entry file's own listen call names
    };

    constexpr PortSource(Value value) : value(value) {}
    constexpr operator Value() const { return value; }

    static std::optional<PortSource> fromRawValue(const QString& raw);
    QString rawValue() const;

private:
    Value value;
};
