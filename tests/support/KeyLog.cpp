#include "KeyLog.h"

#include <QKeyEvent>

void KeyLog::keyPressEvent(QKeyEvent* event)
{
    keys.append(event->key());
    event->accept();
}

QList<int> KeyLog::nonModifierKeys() const
{
    QList<int> others;
    for (const int key : keys) {
        if (key != Qt::Key_Control && key != Qt::Key_Shift && key != Qt::Key_Alt &&
            key != Qt::Key_Meta) {
            others.append(key);
        }
    }
    return others;
}
