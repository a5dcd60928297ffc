#include "Controllers/AppearanceWatcher.h"

#include <QCoreApplication>
#include <QEvent>

AppearanceWatcher::AppearanceWatcher(QObject* parent) : QObject(parent)
{
    if (QCoreApplication::instance()) {
        QCoreApplication::instance()->installEventFilter(this);
    }
}

bool AppearanceWatcher::eventFilter(QObject* watched, QEvent* event)
{
    // An application-wide filter sees every widget's copy of the change too; one report per
    // change is enough.
    if (watched == QCoreApplication::instance() &&
        (event->type() == QEvent::ApplicationPaletteChange ||
         event->type() == QEvent::ThemeChange)) {
        Q_EMIT appearanceChanged();
    }
    return QObject::eventFilter(watched, event);
}
