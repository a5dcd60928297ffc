#pragma once

#include <QObject>

#include <functional>

class QKeyEvent;

// An application-wide filter of key presses. While `isActive` answers true, every key press of
// the application goes to `onKeyPress` and goes no further, and no shortcut fires in its stead;
// otherwise events pass through untouched.
class ShortcutKeyMonitor : public QObject
{
    Q_OBJECT
public:
    ShortcutKeyMonitor(std::function<bool()> isActive, std::function<void(QKeyEvent*)> onKeyPress,
                       QObject* parent = nullptr);

    // Installs the monitor on the application.
    void install();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<bool()> isActive;
    std::function<void(QKeyEvent*)> onKeyPress;
};
