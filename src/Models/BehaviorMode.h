#pragma once

#include <QList>
#include <QString>

// What the main action does with the browser. Stored by raw value.
class BehaviorMode
{
public:
    enum Value { alwaysNewWindow, bringToFront, findURLWindow };

    constexpr BehaviorMode(Value value = findURLWindow) : value(value) {}
    constexpr operator Value() const { return value; }

    static QList<BehaviorMode> allCases();
    // Never fails: any text other than the three raw values gives findURLWindow.
    static BehaviorMode fromRawValue(const QString& raw);

    QString rawValue() const;
    QString displayName() const;

private:
    Value value;
};
