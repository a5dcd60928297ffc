#include "Models/PortSource.h"

#include <iterator>

namespace {

// Indexed by PortSource::Value.
constexpr const char* rawValues[] = {
    "env",        "packageJson", "viteConfig",   "vueConfig", "angularJson",
    "nuxtConfig", "manual",      "defaultValue", "framework", "entryFile",
};

} // namespace

std::optional<PortSource> PortSource::fromRawValue(const QString& raw)
{
    for (int i = 0; i < static_cast<int>(std::size(rawValues)); ++i) {
        if (raw == QLatin1String(rawValues[i])) {
            return PortSource(static_cast<Value>(i));
        }
    }
    return std::nullopt;
}

QString PortSource::rawValue() const
{
    return QString::fromLatin1(rawValues[static_cast<int>(value)]);
}
