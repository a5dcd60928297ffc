#include "OnboardingShortcutRecorder.h"

#include "HotKey/KeyEventCode.h"
#include "HotKey/ModifierFlags.h"
#include "Utilities/Log.h"
#include "Utilities/Theme.h"
#include "Views/RecorderLabel.h"

#include <QKeyEvent>
#include <QMetaObject>
#include <QPainter>

#include <optional>

OnboardingShortcutRecorder::OnboardingShortcutRecorder(QWidget* parent) : QAbstractButton(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // Pressing starts recording; it never stops it.
    connect(this, &QAbstractButton::clicked, this, [this] { setRecording(true); });
    updateLabel();
}

void OnboardingShortcutRecorder::setRecording(bool isRecording)
{
    if (isRecording) {
        // The keys must come here, wherever the focus was.
        setFocus(Qt::OtherFocusReason);
    }
    if (isRecording == recording) {
        return;
    }
    recording = isRecording;
    updateLabel();
    emit recordingChanged(isRecording);
}

void OnboardingShortcutRecorder::setDisplayText(const QString& text)
{
    if (text == shownText) {
        return;
    }
    shownText = text;
    updateLabel();
}

QString OnboardingShortcutRecorder::label() const
{
    return recording ? QStringLiteral("Press keys...") : shownText;
}

QColor OnboardingShortcutRecorder::labelColor() const
{
    return recording ? Theme::accent() : palette().color(QPalette::ButtonText);
}

QFont OnboardingShortcutRecorder::labelFont() const
{
    QFont medium = font();
    if (!recording) {
        medium.setWeight(QFont::Medium);
    }
    return medium;
}

QColor OnboardingShortcutRecorder::outlineColor() const
{
    return recording ? Theme::accent() : Theme::border();
}

QSize OnboardingShortcutRecorder::sizeHint() const
{
    // Room for both texts, so that starting to record does not move the layout.
    QFont medium = font();
    medium.setWeight(QFont::Medium);
    return RecorderLabel::sizeHint(medium, shownText)
        .expandedTo(RecorderLabel::sizeHint(font(), QStringLiteral("Press keys...")));
}

bool OnboardingShortcutRecorder::event(QEvent* event)
{
    if (recording) {
        switch (event->type()) {
        case QEvent::ShortcutOverride:
            // No menu or window shortcut takes the combination being recorded.
            event->accept();
            return true;
        case QEvent::KeyPress:
            // Straight to the recorder: Tab and Shift+Tab would otherwise move the focus.
            keyPressEvent(static_cast<QKeyEvent*>(event));
            return true;
        default:
            break;
        }
    }
    return QAbstractButton::event(event);
}

void OnboardingShortcutRecorder::keyPressEvent(QKeyEvent* event)
{
    if (!recording) {
        QAbstractButton::keyPressEvent(event);
        return;
    }
    // Swallowed either way; recording goes on until a combination is taken.
    event->accept();
    const std::uint32_t carbonModifiers = ModifierFlags::fromQt(event->modifiers()).carbonFlags();
    if (carbonModifiers == 0 || KeyEventCode::isModifierKey(*event)) {
        return;
    }
    const std::optional<std::uint32_t> code = KeyEventCode::carbonKeyCode(*event);
    if (!code) {
        Log::line(QStringLiteral("⚠️ [OnboardingShortcutRecorder] Ignored a key without a key "
                                 "code (native key 0x%1)")
                      .arg(QString::number(event->nativeVirtualKey(), 16)));
        return;
    }
    if (onShortcutRecorded) {
        // A copy runs, so the callback may replace itself.
        const auto callback = onShortcutRecorded;
        callback(*code, carbonModifiers);
    }
    QMetaObject::invokeMethod(
        this, [this] { setRecording(false); }, Qt::QueuedConnection);
}

void OnboardingShortcutRecorder::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    RecorderLabel::paint(painter, rect(), label(), labelFont(), labelColor(), outlineColor());
}

void OnboardingShortcutRecorder::updateLabel()
{
    // The button's text is what assistive technology reads; the description carries it too,
    // for when the embedding view names the control.
    setText(label());
    setAccessibleDescription(label());
    updateGeometry();
    update();
}
