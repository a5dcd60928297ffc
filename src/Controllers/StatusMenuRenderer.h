#pragma once

#include "Controllers/StatusMenuItem.h"

#include <QVariant>

#include <functional>
#include <optional>

class QAction;
class QMenu;

// Turns the menu model into QMenu/QActions. An action's data() holds its tag, its represented
// project and the operation it runs; choosing it calls the handler with that operation.
class StatusMenuRenderer
{
public:
    StatusMenuRenderer() = delete;

    using Handler = std::function<void(StatusMenuItem::Action action, QAction* sender)>;

    // Empties `menu`, then fills it from `items`. Old actions and submenus are deleted later, so
    // that an action may rebuild the menu it was chosen from.
    static void populate(QMenu* menu, const QList<StatusMenuItem>& items, const Handler& handler);
    static void clear(QMenu* menu);

    // Title, state, key equivalent, image, tooltip and data of an existing action.
    static void apply(QAction* action, const StatusMenuItem& item);

    static int tag(const QAction* action);
    static StatusMenuItem::Action action(const QAction* action);
    static std::optional<Project> representedProject(const QAction* action);
    // The first top-level action of `menu` with `tag`, or null.
    static QAction* itemWithTag(const QMenu* menu, int tag);

    // Menus treat "&" as a mnemonic marker; titles show it as it is.
    static QString escapedTitle(const QString& title);
};
