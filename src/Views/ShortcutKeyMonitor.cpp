#include "ShortcutKeyMonitor.h"

#include <QCoreApplication>
#include <QKeyEvent>

ShortcutKeyMonitor::ShortcutKeyMonitor(std::function<bool()> isActive,
                                       std::function<void(QKeyEvent*)> onKeyPress, QObject* parent)
    : QObject(parent), isActive(std::move(isActive)), onKeyPress(std::move(onKeyPress))
{}

void ShortcutKeyMonitor::install()
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool ShortcutKeyMonitor::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    if ((type != QEvent::KeyPress && type != QEvent::ShortcutOverride) || !isActive()) {
        return QObject::eventFilter(watched, event);
    }
    // Claiming the override keeps menu and window shortcuts from taking the combination, so
    // the key press itself arrives here.
    event->accept();
    if (type == QEvent::KeyPress) {
        onKeyPress(static_cast<QKeyEvent*>(event));
    }
    return true;
}
