#pragma once

#include "Controllers/StatusMenuItem.h"

#include <QStringList>

class QMenu;

// One line per menu entry, sub-menus indented by two spaces: the title, then "disabled", "on",
// "key=<character>+<menu modifier mask>", "tag=<n>", "action=<operation>",
// "image=<name>/<description>" where they apply; "---" for a separator.
QStringList menuSnapshot(const QList<StatusMenuItem>& items, int depth = 0);

// The same picture of a built QMenu: the title, "disabled", "on", "keys=<QKeySequence
// portable text>", "tag=<n>", "action=<operation>" where they apply.
QStringList menuSnapshot(const QMenu* menu, int depth = 0);

QString actionName(StatusMenuItem::Action action);
