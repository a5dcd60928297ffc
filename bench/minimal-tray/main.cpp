// The baseline of the desktop benchmarks: the least a Qt tray application does. One icon, one
// menu with Quit, nothing else.
#include <QApplication>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);

    QPixmap pixmap(22, 22);
    pixmap.fill(QColor(0x34, 0xc7, 0x59));
    QSystemTrayIcon icon{QIcon(pixmap)};
    QMenu menu;
    menu.addAction(QStringLiteral("Quit"), &application, &QCoreApplication::quit);
    icon.setContextMenu(&menu);
    icon.show();
    return QApplication::exec();
}
