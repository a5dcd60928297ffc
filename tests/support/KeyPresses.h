#pragma once

#include <QString>
#include <Qt>

class QWidget;

// Key presses delivered to a widget the way QApplication delivers them to a window's focus
// widget: a shortcut override first, then the press, then the release.
namespace KeyPresses {

struct Press
{
    int key = 0;
    Qt::KeyboardModifiers modifiers;
    // What the platform reports natively: on xcb the X key symbol, on macOS the key code.
    quint32 nativeVirtualKey = 0;
    quint32 nativeModifiers = 0;
    QString text;
};

// Returns whether the press was accepted by someone.
bool press(QWidget* receiver, const Press& press);

// Replaces the text of a line edit or spin box by typing, then presses Return, as a person
// editing the field does.
void retype(QWidget* field, const QString& text);

} // namespace KeyPresses
