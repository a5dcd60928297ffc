#pragma once

#include <QList>
#include <QStringList>

// Brings application windows forward on an X11 desktop. Opens its own connection to $DISPLAY
// for each call (through xcb, whose errors come back as replies, so nothing here can take the
// process down), which makes it safe on worker threads.
class X11WindowActivator
{
public:
    // Activates the newest top-level window that belongs to one of `pids` (_NET_WM_PID) or
    // whose WM_CLASS instance or class name is one of `classNames` (case-insensitive): through
    // the window manager's _NET_ACTIVE_WINDOW request, or by raising and focusing it directly
    // when no window manager runs. False when there is no display or no such window.
    // With a `title`, the newest of those windows whose title begins with it is preferred; a
    // browser retitles its window just after a tab is activated, so that one is waited for
    // briefly before the newest window is taken instead.
    static bool activate(const QList<qint64>& pids, const QStringList& classNames,
                         const QString& title = QString());

    // The titles of the top-level windows that belong to one of `pids` or whose class is one
    // of `classNames` (as for activate), the front one first: in the window manager's stacking
    // order, or the root's without one. Empty when there is no display.
    static QStringList titlesFrontToBack(const QList<qint64>& pids, const QStringList& classNames);

    // Types Control-R into the focused window through the XTEST extension. False when there is
    // no display or the extension is missing.
    static bool sendReloadKeystroke();
};
