#!/usr/bin/python3
"""Prints the accessibility tree of one running application as JSON.

Usage: a11y_driver.py tree PID

The end-to-end tests read where widgets are, what they say and whether they are enabled from
this tree, then act on them with real input (xdotool). Exit codes: 0 with the tree on standard
output; 2 when the application is not (yet) on the accessibility bus; 77 when pyatspi is missing.
"""

import json
import sys

try:
    import pyatspi
except ImportError:
    sys.stderr.write("a11y_driver: python3-pyatspi is not installed\n")
    sys.exit(77)

# Item views (the folder dialog's file list) can hold thousands of rows; none of them is needed.
MANY_CHILDREN_ROLES = {"table", "tree table", "list", "tree", "table cell", "list item"}
MAX_ITEM_CHILDREN = 30
MAX_DEPTH = 40

STATES = {
    pyatspi.STATE_ENABLED: "enabled",
    pyatspi.STATE_SENSITIVE: "sensitive",
    pyatspi.STATE_SHOWING: "showing",
    pyatspi.STATE_VISIBLE: "visible",
    pyatspi.STATE_FOCUSED: "focused",
    pyatspi.STATE_CHECKED: "checked",
    pyatspi.STATE_ACTIVE: "active",
    pyatspi.STATE_EDITABLE: "editable",
}


def safe(call, default):
    # Objects vanish while they are read (a window closing); that is not an error here.
    try:
        return call()
    except Exception:  # noqa: BLE001 - GLib errors have no common base worth naming
        return default


def node(accessible, depth):
    state_set = safe(accessible.getState, None)
    states = []
    if state_set is not None:
        states = [name for state, name in STATES.items() if safe(lambda: state_set.contains(state), False)]
    entry = {
        "role": safe(accessible.getRoleName, ""),
        "name": safe(lambda: accessible.name, "") or "",
        "description": safe(lambda: accessible.description, "") or "",
        "states": states,
    }
    extents = safe(lambda: accessible.queryComponent().getExtents(pyatspi.DESKTOP_COORDS), None)
    if extents is not None:
        entry["x"], entry["y"] = extents.x, extents.y
        entry["width"], entry["height"] = extents.width, extents.height
    text = safe(lambda: accessible.queryText(), None)
    if text is not None:
        entry["text"] = safe(lambda: text.getText(0, -1), "") or ""
    children = []
    if depth < MAX_DEPTH:
        count = safe(lambda: accessible.childCount, 0)
        if entry["role"] in MANY_CHILDREN_ROLES:
            count = min(count, MAX_ITEM_CHILDREN)
        for index in range(count):
            child = safe(lambda: accessible.getChildAtIndex(index), None)
            if child is not None:
                children.append(node(child, depth + 1))
    entry["children"] = children
    return entry


def application(pid):
    desktop = pyatspi.Registry.getDesktop(0)
    for index in range(safe(lambda: desktop.childCount, 0)):
        app = safe(lambda: desktop.getChildAtIndex(index), None)
        if app is not None and safe(app.get_process_id, -1) == pid:
            return app
    return None


def main(argv):
    if len(argv) != 3 or argv[1] != "tree" or not argv[2].isdigit():
        sys.stderr.write("usage: a11y_driver.py tree PID\n")
        return 64
    app = application(int(argv[2]))
    if app is None:
        sys.stderr.write("a11y_driver: no application with process id %s on the bus\n" % argv[2])
        return 2
    json.dump(node(app, 0), sys.stdout, ensure_ascii=False)
    sys.stdout.write("\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
