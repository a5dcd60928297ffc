#include "KeyPresses.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTest>
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

void KeyPresses::retype(QWidget* field, const QString& text)
{
    field->setFocus();
    if (auto* line = qobject_cast<QLineEdit*>(field)) {
        line->selectAll();
    } else if (auto* spin = qobject_cast<QAbstractSpinBox*>(field)) {
        spin->selectAll();
    }
    QTest::keyClick(field, Qt::Key_Backspace);
    QTest::keyClicks(field, text);
    QTest::keyClick(field, Qt::Key_Return);
}
