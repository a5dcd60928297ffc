#include "Controllers/StatusMenuRenderer.h"

#include "Controllers/StatusMenuModel.h"
#include "Controllers/StatusMenuStyle.h"
#include "Views/SymbolImage.h"

#include <QAction>
#include <QIcon>
#include <QMenu>
#include <QVariantMap>

namespace {

const QString tagKey = QStringLiteral("tag");
const QString actionKey = QStringLiteral("action");
const QString representedObjectKey = QStringLiteral("representedObject");

void addItems(QMenu* menu, const QList<StatusMenuItem>& items,
              const StatusMenuRenderer::Handler& handler)
{
    for (const StatusMenuItem& item : items) {
        if (item.isSeparator()) {
            menu->addSeparator();
            continue;
        }
        QAction* action = nullptr;
        if (item.hasSubmenu) {
            auto* submenu = new QMenu(menu);
            submenu->setStyle(StatusMenuStyle::shared());
            addItems(submenu, item.submenu, handler);
            action = menu->addMenu(submenu);
        } else {
            action = new QAction(menu);
            menu->addAction(action);
            QObject::connect(action, &QAction::triggered, action, [action, handler]() {
                const StatusMenuItem::Action operation = StatusMenuRenderer::action(action);
                if (operation != StatusMenuItem::Action::none && handler) {
                    handler(operation, action);
                }
            });
        }
        StatusMenuRenderer::apply(action, item);
    }
}

} // namespace

void StatusMenuRenderer::populate(QMenu* menu, const QList<StatusMenuItem>& items,
                                  const Handler& handler)
{
    clear(menu);
    menu->setStyle(StatusMenuStyle::shared());
    addItems(menu, items, handler);
}

void StatusMenuRenderer::clear(QMenu* menu)
{
    const QList<QAction*> actions = menu->actions();
    for (QAction* action : actions) {
        menu->removeAction(action);
        if (action->parent() == menu) {
            action->deleteLater();
        }
    }
    const QList<QMenu*> submenus = menu->findChildren<QMenu*>(Qt::FindDirectChildrenOnly);
    for (QMenu* submenu : submenus) {
        submenu->deleteLater();
    }
}

void StatusMenuRenderer::apply(QAction* action, const StatusMenuItem& item)
{
    QString text = escapedTitle(item.title);
    if (const QString shortcut = StatusMenuModel::shownShortcut(item); !shortcut.isEmpty()) {
        // QMenu shows the text after a tab in place of the shortcut's own text.
        text += QLatin1Char('\t') + shortcut;
    }
    action->setText(text);
    action->setEnabled(item.enabled);
    // Only items whose state is on are checkable, so items with state off show no box.
    action->setCheckable(item.checked);
    action->setChecked(item.checked);
    action->setShortcut(StatusMenuModel::keySequence(
        item.keyEquivalent, item.keyEquivalentModifierMask, item.keyEquivalentScope));
    // Shown in the menu only; the shortcut must not fire while the menu is closed.
    action->setShortcutContext(Qt::WidgetShortcut);
    action->setShortcutVisibleInContextMenu(true);
    // Keep "Settings..." and "Quit" where they are; never move them into an application menu.
    action->setMenuRole(QAction::NoRole);
    action->setToolTip(item.toolTip);
    // Without a tint the symbol takes the menu's text colour when drawn, light or dark.
    action->setIcon(SymbolImage::icon(item.imageName));
    StatusMenuStyle::setProjectTitle(action,
                                     item.projectTitle ? item.projectTitle->name : QString(),
                                     item.projectTitle ? item.projectTitle->port : QString());
    action->setIconText(item.imageDescription.isEmpty() ? item.title : item.imageDescription);

    QVariantMap data;
    data.insert(tagKey, item.tag);
    data.insert(actionKey, static_cast<int>(item.action));
    if (item.representedObject) {
        data.insert(representedObjectKey, QVariant::fromValue(*item.representedObject));
    }
    action->setData(data);
}

int StatusMenuRenderer::tag(const QAction* action)
{
    return action->data().toMap().value(tagKey).toInt();
}

StatusMenuItem::Action StatusMenuRenderer::action(const QAction* action)
{
    return static_cast<StatusMenuItem::Action>(action->data().toMap().value(actionKey).toInt());
}

std::optional<Project> StatusMenuRenderer::representedProject(const QAction* action)
{
    const QVariant value = action->data().toMap().value(representedObjectKey);
    if (!value.canConvert<Project>() || value.metaType() != QMetaType::fromType<Project>()) {
        return std::nullopt;
    }
    return value.value<Project>();
}

QAction* StatusMenuRenderer::itemWithTag(const QMenu* menu, int tag)
{
    const QList<QAction*> actions = menu->actions();
    for (QAction* action : actions) {
        if (!action->isSeparator() && StatusMenuRenderer::tag(action) == tag) {
            return action;
        }
    }
    return nullptr;
}

QString StatusMenuRenderer::escapedTitle(const QString& title)
{
    QString escaped = title;
    return escaped.replace(QLatin1Char('&'), QStringLiteral("&&"));
}
