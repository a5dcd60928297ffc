#include "AccessibleNode.h"

#include <QJsonArray>

AccessibleNode AccessibleNode::fromJson(const QJsonObject& object)
{
    AccessibleNode node;
    node.role = object.value(QStringLiteral("role")).toString();
    node.name = object.value(QStringLiteral("name")).toString();
    node.description = object.value(QStringLiteral("description")).toString();
    node.text = object.value(QStringLiteral("text")).toString();
    for (const QJsonValue& state : object.value(QStringLiteral("states")).toArray()) {
        node.states.append(state.toString());
    }
    node.extents =
        QRect(object.value(QStringLiteral("x")).toInt(), object.value(QStringLiteral("y")).toInt(),
              object.value(QStringLiteral("width")).toInt(),
              object.value(QStringLiteral("height")).toInt());
    for (const QJsonValue& child : object.value(QStringLiteral("children")).toArray()) {
        node.children.append(fromJson(child.toObject()));
    }
    return node;
}

std::optional<AccessibleNode>
AccessibleNode::find(const std::function<bool(const AccessibleNode&)>& matches) const
{
    if (matches(*this)) {
        return *this;
    }
    for (const AccessibleNode& child : children) {
        if (std::optional<AccessibleNode> found = child.find(matches)) {
            return found;
        }
    }
    return std::nullopt;
}

std::optional<AccessibleNode> AccessibleNode::find(const QString& role, const QString& name) const
{
    return find([&](const AccessibleNode& node) {
        return node.role == role && node.name == name && node.isShowing();
    });
}

QString AccessibleNode::outline(int depth) const
{
    QString line = QString(depth * 2, QLatin1Char(' ')) + role + QStringLiteral(" \"") + name +
                   QLatin1Char('"');
    if (!description.isEmpty()) {
        line += QStringLiteral(" description \"") + description + QLatin1Char('"');
    }
    if (!text.isEmpty()) {
        line += QStringLiteral(" text \"") + text + QLatin1Char('"');
    }
    line += QStringLiteral(" [") + states.join(QLatin1Char(' ')) + QLatin1Char(']');
    for (const AccessibleNode& child : children) {
        line += QLatin1Char('\n') + child.outline(depth + 1);
    }
    return line;
}
