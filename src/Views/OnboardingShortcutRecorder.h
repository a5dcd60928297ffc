#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QFont>
#include <QString>

#include <cstdint>
#include <functional>

// The onboarding's shortcut control: shows the current shortcut; pressing it starts recording
// and takes the keyboard focus. While recording, the first key pressed together with at least
// one of Control, Option (Alt), Shift and Command (Super) is handed to onShortcutRecorded as
// Carbon values, and recording ends on the next turn of the event loop.
class OnboardingShortcutRecorder : public QAbstractButton
{
    Q_OBJECT
    Q_PROPERTY(bool isRecording READ isRecording WRITE setRecording NOTIFY recordingChanged)
public:
    explicit OnboardingShortcutRecorder(QWidget* parent = nullptr);

    bool isRecording() const { return recording; }
    void setRecording(bool isRecording);

    // The text shown while not recording (the current shortcut).
    QString displayText() const { return shownText; }
    void setDisplayText(const QString& text);

    // What is drawn now: "Press keys..." while recording, else the display text.
    QString label() const;
    QColor labelColor() const;
    QFont labelFont() const;
    QColor outlineColor() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

    std::function<void(std::uint32_t keyCode, std::uint32_t carbonModifiers)> onShortcutRecorded;

signals:
    void recordingChanged(bool isRecording);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void updateLabel();

    bool recording = false;
    QString shownText;
};
