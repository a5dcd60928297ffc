#include "Views/SettingsPopover.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr Qt::WindowFlags popupFlags = Qt::Popup | Qt::FramelessWindowHint;
constexpr Qt::WindowFlags heldOpenFlags =
    Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;

} // namespace

SettingsPopover::SettingsPopover(QWidget* parent) : QFrame(parent, popupFlags)
{
    setFrameShape(QFrame::StyledPanel);
    setAttribute(Qt::WA_DeleteOnClose, false);
    setFocusPolicy(Qt::ClickFocus);
    setWindowTitle(QStringLiteral("Settings"));
    setAccessibleName(QStringLiteral("Settings"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
}

void SettingsPopover::setContent(QWidget* content)
{
    if (currentContent) {
        currentContent->hide();
        currentContent->deleteLater();
    }
    currentContent = content;
    if (content) {
        layout()->addWidget(content);
    }
    adjustSize();
}

void SettingsPopover::showRelativeTo(const QRect& anchor)
{
    QScreen* screen = QGuiApplication::screenAt(anchor.center());
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    const QRect screenGeometry = screen ? screen->availableGeometry() : QRect();
    move(position(anchor, sizeHint().expandedTo(size()), screenGeometry));
    present();
}

void SettingsPopover::present()
{
    show();
    raise();
    activateWindow();
    // No text field starts out focused.
    const QPointer<SettingsPopover> self(this);
    QTimer::singleShot(0, this, [self]() {
        if (self) {
            self->setFocus(Qt::OtherFocusReason);
            self->announceActivation();
        }
    });
}

void SettingsPopover::hideEvent(QHideEvent* event)
{
    QFrame::hideEvent(event);
    announceActivation();
}

void SettingsPopover::announceActivation()
{
    // Whether it is an activation or a deactivation is read from the window's state.
    QAccessible::State changed;
    changed.active = true;
    QAccessibleStateChangeEvent event(this, changed);
    QAccessible::updateAccessibility(&event);
}

QPoint SettingsPopover::position(const QRect& anchor, const QSize& size, const QRect& screen)
{
    QPoint topLeft(anchor.center().x() - size.width() / 2, anchor.bottom() + 1);
    if (!screen.isValid()) {
        return topLeft;
    }
    // A tray at the bottom of the screen: the panel goes above the icon instead.
    if (topLeft.y() + size.height() > screen.bottom() + 1) {
        topLeft.setY(anchor.top() - size.height());
    }
    topLeft.setX(
        qBound(screen.left(), topLeft.x(), qMax(screen.left(), screen.right() + 1 - size.width())));
    topLeft.setY(
        qBound(screen.top(), topLeft.y(), qMax(screen.top(), screen.bottom() + 1 - size.height())));
    return topLeft;
}

bool SettingsPopover::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == holder && (event->type() == QEvent::Hide || event->type() == QEvent::Close)) {
        // Released on the next turn, once the window is really gone.
        QTimer::singleShot(0, this, &SettingsPopover::release);
    }
    return QFrame::eventFilter(watched, event);
}

void SettingsPopover::holdOpenWhile(QWidget* window)
{
    if (!window || window == holder) {
        return;
    }
    if (holder) {
        holder->removeEventFilter(this);
    }
    holder = window;
    window->installEventFilter(this);
    connect(window, &QObject::destroyed, this, &SettingsPopover::release, Qt::UniqueConnection);
    if (windowType() != Qt::Popup) {
        return;
    }
    const bool wasVisible = isVisible();
    const QPoint where = pos();
    // Leaving popup mode hides the panel; it comes back at once, in the same place.
    setWindowFlags(heldOpenFlags);
    move(where);
    if (wasVisible) {
        show();
    }
}

void SettingsPopover::release()
{
    if (holder && holder->isVisible()) {
        return;
    }
    if (holder) {
        holder->removeEventFilter(this);
        disconnect(holder, &QObject::destroyed, this, &SettingsPopover::release);
    }
    holder = nullptr;
    if (windowType() == Qt::Popup) {
        return;
    }
    const bool wasVisible = isVisible();
    const QPoint where = pos();
    setWindowFlags(popupFlags);
    move(where);
    if (wasVisible) {
        present();
    }
}
