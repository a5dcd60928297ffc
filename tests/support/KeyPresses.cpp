#include "KeyPresses.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>

bool KeyPresses::press(QWidget* receiver, const Press& press)
{
    auto make = [&](QEvent::Type type) {
        return QKeyEvent(type, press.key, press.modifiers, 0, press.nativeVirtualKey,
                         press.nativeModifiers, press.text);
    };
    QKeyEvent shortcutOverride = make(QEvent::ShortcutOverride);
    shortcutOverride.ignore();
    QApplication::sendEvent(receiver, &shortcutOverride);

    QKeyEvent keyPress = make(QEvent::KeyPress);
    QApplication::sendEvent(receiver, &keyPress);
    const bool accepted = keyPress.isAccepted();

    QKeyEvent keyRelease = make(QEvent::KeyRelease);
    QApplication::sendEvent(receiver, &keyRelease);
    return accepted;
}
