#pragma once

#include <QFrame>
#include <QPointer>
#include <QRect>

// The transient panel that hangs below the status item: a frameless popup that closes when the
// user clicks elsewhere. Made once and reused; only its content is replaced.
//
// A dialog opened from the panel (the folder dialog) can keep it open: a popup would take
// every click and key press meant for the dialog and close on the first one.
//
// For assistive technologies it is a window named "Settings", announced when it opens.
class SettingsPopover : public QFrame
{
    Q_OBJECT
public:
    explicit SettingsPopover(QWidget* parent = nullptr);

    // Replaces the content (the old one is deleted) and sizes the panel to fit it.
    void setContent(QWidget* content);
    QWidget* content() const { return currentContent; }

    // Shows the panel below `anchor` (the status item's geometry), centred on it and kept on
    // the screen.
    void showRelativeTo(const QRect& anchor);

    // Keeps the panel open while `window` (a dialog opened from it) is shown: until then the
    // panel is a plain frameless window that stays on top. Call before showing the window, since
    // showing any other window closes popups.
    void holdOpenWhile(QWidget* window);
    // The window the panel is held open for, while it is shown.
    QWidget* heldOpenFor() const { return holder; }

    // Where the panel's top-left corner goes for an anchor, a panel size and the screen.
    static QPoint position(const QRect& anchor, const QSize& size, const QRect& screen);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void release();
    // Shows, raises and activates the panel where it is, with no field focused.
    void present();
    // Tells assistive technologies that the panel's window became active, or stopped being so:
    // no field takes the focus when it opens, so nothing else would make a screen reader speak.
    void announceActivation();

    QPointer<QWidget> currentContent;
    QPointer<QWidget> holder;
};
