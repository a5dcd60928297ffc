#include "App/AccessibleApplication.h"

#include "Views/SettingsPopover.h"

#include <QAccessibleWidget>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QWindow>

namespace {

// The popover as a window of its own. While shown it holds the keyboard and the pointer, so it is
// the active window then, whichever window the desktop thinks is active.
class AccessiblePopover : public QAccessibleWidget
{
public:
    explicit AccessiblePopover(SettingsPopover* popover)
        : QAccessibleWidget(popover, QAccessible::Window)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.active = widget()->isVisible();
        return state;
    }
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object)
{
    if (object && object == QCoreApplication::instance()) {
        return new AccessibleApplication();
    }
    if (className == QLatin1String(SettingsPopover::staticMetaObject.className())) {
        if (auto* popover = qobject_cast<SettingsPopover*>(object)) {
            return new AccessiblePopover(popover);
        }
    }
    return nullptr;
}

} // namespace

void AccessibleApplication::install()
{
    // Once: the factory list keeps every factory installed.
    static const bool installed = [] {
        QAccessible::installFactory(makeInterface);
        return true;
    }();
    (void)installed;
}

QObjectList AccessibleApplication::windows()
{
    QObjectList windows;
    QObjectList popovers;
    const QWindowList topLevel = QGuiApplication::topLevelWindows();
    for (QWindow* window : topLevel) {
        QAccessibleInterface* root = window->accessibleRoot();
        QObject* object = root ? root->object() : nullptr;
        if (!object) {
            continue;
        }
        if (window->type() == Qt::Popup) {
            // Menus and other popups stay out, as Qt leaves them.
            if (qobject_cast<SettingsPopover*>(object) && window->isVisible()) {
                popovers.append(object);
            }
        } else if (window->type() != Qt::Desktop) {
            windows.append(object);
        }
    }
    return windows + popovers;
}

int AccessibleApplication::childCount() const
{
    return int(windows().size());
}

QAccessibleInterface* AccessibleApplication::child(int index) const
{
    const QObjectList list = windows();
    if (index < 0 || index >= list.size()) {
        return nullptr;
    }
    return QAccessible::queryAccessibleInterface(list.at(index));
}

int AccessibleApplication::indexOfChild(const QAccessibleInterface* child) const
{
    if (!child || !child->object()) {
        return -1;
    }
    return int(windows().indexOf(child->object()));
}
