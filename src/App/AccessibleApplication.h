#pragma once

#include <QAccessibleObject>
#include <QObjectList>

// The application as assistive technologies see it: its windows, the settings popover among them
// while it is shown. Qt leaves popup windows out of the application's children (menus are
// announced as menus instead), so without this a client that walks the tree would find no
// control of the settings at all. The popover is presented as a window, so that its opening can
// be announced as a window's activation.
class AccessibleApplication : public QAccessibleApplication
{
public:
    AccessibleApplication() = default;

    // Makes the application and the settings popover use these interfaces. Call before the
    // application object exists, so that no other interface for it has been made and kept. Safe
    // to call more than once.
    static void install();

    int childCount() const override;
    QAccessibleInterface* child(int index) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;

    // The objects whose interfaces are the application's children: every top-level window but
    // popups and the desktop, then the settings popover while it is shown.
    static QObjectList windows();
};
