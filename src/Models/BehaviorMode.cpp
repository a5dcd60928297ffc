#include "Models/BehaviorMode.h"

namespace {

struct Row
{
    BehaviorMode::Value value;
    const char* raw;
    const char* displayName;
};

constexpr Row rows[] = {
    {BehaviorMode::alwaysNewWindow, "always_new", "New window"},
    {BehaviorMode::bringToFront, "bring_to_front", "Bring to front"},
    {BehaviorMode::findURLWindow, "find_url", "Find existing"},
};

} // namespace

QList<BehaviorMode> BehaviorMode::allCases()
{
    return {alwaysNewWindow, bringToFront, findURLWindow};
}

BehaviorMode BehaviorMode::fromRawValue(const QString& raw)
{
    for (const Row& row : rows) {
        if (raw == QLatin1String(row.raw)) {
            return row.value;
        }
    }
    return findURLWindow;
}

QString BehaviorMode::rawValue() const
{
    return QString::fromLatin1(rows[static_cast<int>(value)].raw);
}

QString BehaviorMode::displayName() const
{
    return QString::fromLatin1(rows[static_cast<int>(value)].displayName);
}
