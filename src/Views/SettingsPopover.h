#pragma once

#include <QFrame>
#include <QPointer>
#include <QRect>

// The transient panel that hangs below the status item: a frameless popup that closes when the
// user clicks elsewhere. Made once and reused; only its content is replaced.
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

    // Where the panel's top-left corner goes for an anchor, a panel size and the screen.
    static QPoint position(const QRect& anchor, const QSize& size, const QRect& screen);

private:
    QPointer<QWidget> currentContent;
};
