#pragma once

#include <QJsonObject>
#include <QList>
#include <QRect>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// One object of an application's accessibility tree, as a11y_driver.py reads it: what a screen
// reader would say about a widget, and where it is on the screen.
struct AccessibleNode
{
    QString role;
    QString name;
    QString description;
    // The text of text fields and labels that expose it.
    QString text;
    QStringList states;
    QRect extents;
    QList<AccessibleNode> children;

    static AccessibleNode fromJson(const QJsonObject& object);

    bool has(const QString& state) const { return states.contains(state); }
    bool isEnabled() const { return has(QStringLiteral("enabled")); }
    bool isShowing() const { return has(QStringLiteral("showing")); }
    QPoint centre() const { return extents.center(); }

    // Depth first, this node included.
    std::optional<AccessibleNode>
    find(const std::function<bool(const AccessibleNode&)>& matches) const;
    // The first showing node with this role and name.
    std::optional<AccessibleNode> find(const QString& role, const QString& name) const;

    // Every name and text in the tree, one line per node, for failure messages.
    QString outline(int depth = 0) const;
};
