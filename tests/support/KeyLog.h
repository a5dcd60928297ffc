#pragma once

#include <QList>
#include <QWidget>

// A plain widget that notes every key press it is given (accepting it), so a test can tell
// whether a key went past the widget under test.
class KeyLog : public QWidget
{
public:
    using QWidget::QWidget;

    // Every key pressed, modifier keys included (QTest presses them around a combination).
    QList<int> keys;
    // The same without Control, Shift, Alt and Meta pressed on their own.
    QList<int> nonModifierKeys() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;
};
