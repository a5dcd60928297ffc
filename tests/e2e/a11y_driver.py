#!/usr/bin/python3
"""Reads the accessibility tree of one running application for the end-to-end tests.

Usage: a11y_driver.py PID

Prints "ready" once it listens, then answers each command line on standard input with one line
of JSON on standard output:
  tree   the application's tree (its windows and everything in them);
  popup  the tree of the popup shown last that is still on the screen, else of the one shown
         last (a menu, a completion list). Qt leaves popups out of the application's children,
         so they are found through the events of the widgets that show in them.
  events the announcements a screen reader acts on since the last "events" (or the start):
         {"events": [{"type": ..., "role": ..., "name": ...}, ...]}, oldest first, for the
         focus moving to an object ("focus:", "object:state-changed:focused") and a window
         becoming active ("window:activate").
An answer that has no tree is {"error": "..."}. The tests read where widgets are, what they say
and whether they are enabled, then act on them with real input (xdotool). Exit code 77 when
pyatspi is missing.
"""

import json
import sys

try:
    import pyatspi
    from gi.repository import GLib
except ImportError:
    sys.stderr.write("a11y_driver: python3-pyatspi is not installed\n")
    sys.exit(77)

# Item views (the folder dialog's file list) can hold thousands of rows; none of them is needed.
MANY_CHILDREN_ROLES = {"table", "tree table", "list", "tree", "table cell", "list item"}
MAX_ITEM_CHILDREN = 30
MAX_DEPTH = 40

# The events that make a screen reader speak, as recorded for the "events" command.
ANNOUNCEMENTS = ("focus:", "object:state-changed:focused", "window:activate")

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


def node(accessible, depth=0):
    state_set = safe(accessible.getState, None)
    states = []
    if state_set is not None:
        states = [name for state, name in STATES.items()
                  if safe(lambda: state_set.contains(state), False)]
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


class Driver:
    def __init__(self, pid):
        self.pid = pid
        # Oldest first.
        self.popups = []
        self.events = []

    def application(self):
        desktop = pyatspi.Registry.getDesktop(0)
        for index in range(safe(lambda: desktop.childCount, 0)):
            app = safe(lambda: desktop.getChildAtIndex(index), None)
            if app is not None and safe(app.get_process_id, -1) == self.pid:
                return app
        return None

    def on_event(self, event):
        source = event.source
        if safe(source.get_process_id, -1) != self.pid:
            return
        if event.type in ANNOUNCEMENTS and (event.type != "object:state-changed:focused"
                                            or event.detail1 == 1):
            self.events.append({
                "type": event.type,
                "role": safe(source.getRoleName, ""),
                "name": safe(lambda: source.name, "") or "",
            })
        if event.detail1 != 1 or event.type == "window:activate":
            return
        # The window that holds the widget: the last object below the application.
        window = source
        while True:
            parent = safe(window.get_parent, None)
            if parent is None or safe(parent.getRoleName, "") == "application":
                break
            window = parent
        app = self.application()
        windows = [safe(lambda: app.getChildAtIndex(i), None)
                   for i in range(safe(lambda: app.childCount, 0))] if app else []
        if window not in windows:
            if window in self.popups:
                self.popups.remove(window)
            self.popups.append(window)

    def answer(self, command):
        if command == "tree":
            app = self.application()
            if app is None:
                return {"error": "no application with process id %d on the bus" % self.pid}
            return node(app)
        if command == "popup":
            if not self.popups:
                return {"error": "no popup has been shown"}
            for popup in reversed(self.popups):
                state_set = safe(popup.getState, None)
                if state_set is not None and safe(
                        lambda: state_set.contains(pyatspi.STATE_SHOWING), False):
                    return node(popup)
            return node(self.popups[-1])
        if command == "events":
            events, self.events = self.events, []
            return {"events": events}
        return {"error": "unknown command: " + command}


def main(argv):
    if len(argv) != 2 or not argv[1].isdigit():
        sys.stderr.write("usage: a11y_driver.py PID\n")
        return 64
    driver = Driver(int(argv[1]))
    loop = GLib.MainLoop()

    def on_input(channel, condition):
        line = sys.stdin.readline()
        if not line:
            loop.quit()
            return False
        sys.stdout.write(json.dumps(driver.answer(line.strip()), ensure_ascii=False) + "\n")
        sys.stdout.flush()
        return True

    pyatspi.Registry.registerEventListener(
        driver.on_event, "object:state-changed:showing", *ANNOUNCEMENTS)
    GLib.io_add_watch(sys.stdin.fileno(), GLib.IO_IN | GLib.IO_HUP, on_input)
    sys.stdout.write("ready\n")
    sys.stdout.flush()
    loop.run()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
