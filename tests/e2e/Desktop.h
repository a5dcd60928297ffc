#pragma once

#include <QRect>
#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

// What the end-to-end tests see of the X display and how they act on it: child tools run to
// completion with a deadline, wisp's windows as xdotool, xprop and xwininfo describe them, and
// real pointer and key input through xdotool.
namespace Desktop {

struct RunResult
{
    int exitCode = -1;
    QString standardOutput;
};

// The first of `programs` that is not installed: a name is looked up on PATH, a path must be
// executable. Empty when all are there.
QString missingProgram(const QStringList& programs);

// Runs a program to its end (standard error merged into the output); exit code -1 when it
// crashed or missed the deadline.
RunResult run(const QString& program, const QStringList& arguments, int timeoutMs = 30000);

QString xdotool(const QStringList& arguments);

struct XWindow
{
    QString id;
    QString name;
    QRect geometry;
    QString type;
    // Popups (the menu, the tray icon) bypass the window manager.
    bool overrideRedirect = false;
};

// The ids of wisp's windows shown on the display now: one quick xdotool call.
QStringList visibleWispWindowIds();
// wisp's windows that are shown on the display now.
QList<XWindow> visibleWispWindows();
std::optional<XWindow> visibleWispWindow(const std::function<bool(const XWindow&)>& matches);
// Waits until one of wisp's windows that matches is shown; nothing when none came in time.
std::optional<XWindow> waitForWindow(const std::function<bool(const XWindow&)>& matches,
                                     std::chrono::milliseconds timeout = std::chrono::seconds(30));

bool isTrayIcon(const XWindow& window);
// Waits for wisp's tray icon and clicks it with `button`; false when it never appeared.
bool clickTrayIcon(int button);
bool isAlert(const XWindow& window);
bool isMenu(const XWindow& window);

void click(const QPoint& point, int button = 1);
// Each name is one xdotool key stroke, such as "Return" or "ctrl+alt+k".
void keys(const QStringList& names);
// Types text as key presses.
void type(const QString& text);

// Saves the whole screen as a PNG with ImageMagick's import; false when that fails.
bool screenshot(const QString& path);

} // namespace Desktop
