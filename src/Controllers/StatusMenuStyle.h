#pragma once

#include <QHash>
#include <QProxyStyle>

class QAction;
class QStyleOptionMenuItem;
class QMenu;

// Draws a project item of the status menu in two styles: the name as any item, then one space
// and ":port" in a smaller monospaced font in the secondary text colour. Every other item, and
// the item's background, check mark and hover highlight, are left to the application's style,
// so menus keep their look and their keyboard navigation. Menus drawn natively by the platform
// never consult it and show the plain title.
class StatusMenuStyle : public QProxyStyle
{
    Q_OBJECT
public:
    StatusMenuStyle();

    // The one instance the status menus share; it lives as long as the application.
    static StatusMenuStyle* shared();

    // Marks `action` as a project item with these two parts; empty parts unmark it.
    static void setProjectTitle(QAction* action, const QString& name, const QString& port);
    // The two parts of a project item, or an empty list for any other item.
    static QStringList projectTitle(const QAction* action);

    // The font of the ":port" part for a menu whose font is `menuFont`.
    static QFont portFont(const QFont& menuFont);

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget = nullptr) const override;

private:
    // Where the base style starts an item's text, from the item's left edge.
    int textOffset(const QStyleOptionMenuItem& option, const QWidget* widget) const;

    mutable QHash<QString, int> textOffsets;
};
