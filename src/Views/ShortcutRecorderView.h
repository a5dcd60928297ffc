#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QFont>
#include <QString>

#include <cstdint>

class QKeyEvent;

// The settings' shortcut control: a button showing the stored shortcut that, once clicked,
// records the next key pressed anywhere in the application together with at least one of
// Control, Option (Alt), Shift and Command (Super). Key codes and modifiers are Carbon values.
class ShortcutRecorderView : public QAbstractButton
{
    Q_OBJECT
    Q_PROPERTY(quint32 keyCode READ keyCode WRITE setKeyCode NOTIFY keyCodeChanged)
    Q_PROPERTY(quint32 modifiers READ modifiers WRITE setModifiers NOTIFY modifiersChanged)
    Q_PROPERTY(bool isRecording READ isRecording WRITE setRecording NOTIFY recordingChanged)
public:
    explicit ShortcutRecorderView(QWidget* parent = nullptr);

    std::uint32_t keyCode() const { return storedKeyCode; }
    void setKeyCode(std::uint32_t keyCode);
    std::uint32_t modifiers() const { return storedModifiers; }
    void setModifiers(std::uint32_t modifiers);
    bool isRecording() const { return recording; }
    void setRecording(bool isRecording);
    // False while the stored shortcut cannot be had on this desktop: the control then offers to
    // set one instead of showing it, and the embedding view says why.
    bool isAvailable() const { return available; }
    void setAvailable(bool isAvailable);

    // Takes the event's key and modifiers and ends recording; a key without any of the four
    // modifiers, or a modifier key on its own, is ignored.
    void recordKey(QKeyEvent* event);

    // The text of the 47 character keys of the ANSI layout by Carbon key code; empty for
    // every other code.
    static QString keyCodeToString(std::uint32_t keyCode);
    // The modifiers in the desktop's words or symbols followed by the key's text, if it has one.
    static QString displayString(std::uint32_t keyCode, std::uint32_t modifiers);

    // What is drawn now: "Press keys...", "Click to set" (no shortcut, or none that works) or the
    // display string.
    QString label() const;
    QColor labelColor() const;
    QFont labelFont() const;
    QColor outlineColor() const;
    // How many key monitors the control has installed (one more on each show).
    int monitorCount() const { return monitors; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    void keyCodeChanged(std::uint32_t keyCode);
    void modifiersChanged(std::uint32_t modifiers);
    void recordingChanged(bool isRecording);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void updateLabel();

    std::uint32_t storedKeyCode = 0;
    std::uint32_t storedModifiers = 0;
    bool recording = false;
    bool available = true;
    int monitors = 0;
};
