#include "support/MenuSnapshot.h"

#include "Controllers/StatusMenuRenderer.h"

#include <QAction>
#include <QMenu>

QString actionName(StatusMenuItem::Action action)
{
    using Action = StatusMenuItem::Action;
    switch (action) {
    case Action::none:
        return QStringLiteral("none");
    case Action::mainActionClicked:
        return QStringLiteral("mainActionClicked");
    case Action::settingsClicked:
        return QStringLiteral("settingsClicked");
    case Action::customURLClicked:
        return QStringLiteral("customURLClicked");
    case Action::projectSelected:
        return QStringLiteral("projectSelected");
    case Action::rescanProjects:
        return QStringLiteral("rescanProjects");
    case Action::startServerClicked:
        return QStringLiteral("startServerClicked");
    case Action::serverOutputClicked:
        return QStringLiteral("serverOutputClicked");
    case Action::quitClicked:
        return QStringLiteral("quitClicked");
    }
    return QStringLiteral("?");
}

QStringList menuSnapshot(const QList<StatusMenuItem>& items, int depth)
{
    QStringList lines;
    const QString indent(depth * 2, QLatin1Char(' '));
    for (const StatusMenuItem& item : items) {
        if (item.isSeparator()) {
            lines.append(indent + QStringLiteral("---"));
            continue;
        }
        QStringList parts{item.title};
        if (!item.enabled) {
            parts.append(QStringLiteral("disabled"));
        }
        if (item.checked) {
            parts.append(QStringLiteral("on"));
        }
        if (!item.keyEquivalent.isEmpty()) {
            parts.append(QStringLiteral("key=%1+0x%2")
                             .arg(item.keyEquivalent)
                             .arg(item.keyEquivalentModifierMask, 0, 16));
        }
        if (item.tag != 0) {
            parts.append(QStringLiteral("tag=%1").arg(item.tag));
        }
        if (!item.hasSubmenu) {
            parts.append(QStringLiteral("action=") + actionName(item.action));
        }
        if (!item.imageName.isEmpty()) {
            parts.append(QStringLiteral("image=%1/%2").arg(item.imageName, item.imageDescription));
        }
        lines.append(indent + parts.join(QStringLiteral(" | ")));
        if (item.hasSubmenu) {
            lines.append(menuSnapshot(item.submenu, depth + 1));
        }
    }
    return lines;
}

QStringList menuSnapshot(const QMenu* menu, int depth)
{
    QStringList lines;
    const QString indent(depth * 2, QLatin1Char(' '));
    const QList<QAction*> actions = menu->actions();
    for (const QAction* action : actions) {
        if (action->isSeparator()) {
            lines.append(indent + QStringLiteral("---"));
            continue;
        }
        // A shortcut shown in words follows the title after a tab.
        const QString text = action->text();
        QStringList parts{text.section(QLatin1Char('\t'), 0, 0)};
        if (!action->isEnabled()) {
            parts.append(QStringLiteral("disabled"));
        }
        if (action->isChecked()) {
            parts.append(QStringLiteral("on"));
        }
        if (!action->shortcut().isEmpty()) {
            parts.append(QStringLiteral("keys=") +
                         action->shortcut().toString(QKeySequence::PortableText));
        }
        if (text.contains(QLatin1Char('\t'))) {
            parts.append(QStringLiteral("shown=") + text.section(QLatin1Char('\t'), 1));
        }
        if (StatusMenuRenderer::tag(action) != 0) {
            parts.append(QStringLiteral("tag=%1").arg(StatusMenuRenderer::tag(action)));
        }
        QMenu* submenu = action->menu<QMenu*>();
        if (!submenu) {
            parts.append(QStringLiteral("action=") +
                         actionName(StatusMenuRenderer::action(action)));
        }
        lines.append(indent + parts.join(QStringLiteral(" | ")));
        if (submenu) {
            lines.append(menuSnapshot(submenu, depth + 1));
        }
    }
    return lines;
}
