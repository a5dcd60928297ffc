#include "ShortcutRecorderView.h"

#include "HotKey/KeyEventCode.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Utilities/Log.h"
#include "Utilities/Theme.h"
#include "Views/RecorderLabel.h"
#include "Views/ShortcutKeyMonitor.h"

#include <QFontDatabase>
#include <QHash>
#include <QKeyEvent>
#include <QPainter>

#include <optional>

ShortcutRecorderView::ShortcutRecorderView(QWidget* parent) : QAbstractButton(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, [this] { setRecording(!recording); });
    updateLabel();
}

void ShortcutRecorderView::setKeyCode(std::uint32_t keyCode)
{
    if (keyCode == storedKeyCode) {
        return;
    }
    storedKeyCode = keyCode;
    updateLabel();
    emit keyCodeChanged(keyCode);
}

void ShortcutRecorderView::setModifiers(std::uint32_t modifiers)
{
    if (modifiers == storedModifiers) {
        return;
    }
    storedModifiers = modifiers;
    updateLabel();
    emit modifiersChanged(modifiers);
}

void ShortcutRecorderView::setRecording(bool isRecording)
{
    if (isRecording == recording) {
        return;
    }
    recording = isRecording;
    updateLabel();
    emit recordingChanged(isRecording);
}

void ShortcutRecorderView::setAvailable(bool isAvailable)
{
    if (isAvailable == available) {
        return;
    }
    available = isAvailable;
    updateLabel();
}

void ShortcutRecorderView::recordKey(QKeyEvent* event)
{
    const std::uint32_t carbonModifiers = ModifierFlags::fromQt(event->modifiers()).carbonFlags();
    if (carbonModifiers == 0 || KeyEventCode::isModifierKey(*event)) {
        return;
    }
    const std::optional<std::uint32_t> code = KeyEventCode::carbonKeyCode(*event);
    if (!code) {
        Log::line(
            QStringLiteral(
                "⚠️ [ShortcutRecorderView] Ignored a key without a key code (native key 0x%1)")
                .arg(QString::number(event->nativeVirtualKey(), 16)));
        return;
    }
    setKeyCode(*code);
    setModifiers(carbonModifiers);
    setRecording(false);
}

QString ShortcutRecorderView::keyCodeToString(std::uint32_t keyCode)
{
    static const QHash<std::uint32_t, QString> texts = {
        {0, QStringLiteral("A")},  {1, QStringLiteral("S")},   {2, QStringLiteral("D")},
        {3, QStringLiteral("F")},  {4, QStringLiteral("H")},   {5, QStringLiteral("G")},
        {6, QStringLiteral("Z")},  {7, QStringLiteral("X")},   {8, QStringLiteral("C")},
        {9, QStringLiteral("V")},  {11, QStringLiteral("B")},  {12, QStringLiteral("Q")},
        {13, QStringLiteral("W")}, {14, QStringLiteral("E")},  {15, QStringLiteral("R")},
        {16, QStringLiteral("Y")}, {17, QStringLiteral("T")},  {18, QStringLiteral("1")},
        {19, QStringLiteral("2")}, {20, QStringLiteral("3")},  {21, QStringLiteral("4")},
        {22, QStringLiteral("6")}, {23, QStringLiteral("5")},  {24, QStringLiteral("=")},
        {25, QStringLiteral("9")}, {26, QStringLiteral("7")},  {27, QStringLiteral("-")},
        {28, QStringLiteral("8")}, {29, QStringLiteral("0")},  {30, QStringLiteral("]")},
        {31, QStringLiteral("O")}, {32, QStringLiteral("U")},  {33, QStringLiteral("[")},
        {34, QStringLiteral("I")}, {35, QStringLiteral("P")},  {37, QStringLiteral("L")},
        {38, QStringLiteral("J")}, {39, QStringLiteral("'")},  {40, QStringLiteral("K")},
        {41, QStringLiteral(";")}, {42, QStringLiteral("\\")}, {43, QStringLiteral(",")},
        {44, QStringLiteral("/")}, {45, QStringLiteral("N")},  {46, QStringLiteral("M")},
        {47, QStringLiteral(".")}, {50, QStringLiteral("`")},
    };
    return texts.value(keyCode);
}

QString ShortcutRecorderView::displayString(std::uint32_t keyCode, std::uint32_t modifiers)
{
    return ShortcutText::build(modifiers, keyCodeToString(keyCode));
}

QString ShortcutRecorderView::label() const
{
    if (recording) {
        return QStringLiteral("Press keys...");
    }
    if (storedKeyCode == 0 || !available) {
        return QStringLiteral("Click to set");
    }
    return displayString(storedKeyCode, storedModifiers);
}

QColor ShortcutRecorderView::labelColor() const
{
    if (recording) {
        return Theme::accent();
    }
    if (storedKeyCode == 0 || !available) {
        return Theme::secondary();
    }
    return palette().color(QPalette::ButtonText);
}

QFont ShortcutRecorderView::labelFont() const
{
    if (recording || storedKeyCode == 0 || !available) {
        return font();
    }
    // The body font's size in the system's fixed-width design.
    QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    if (font().pointSizeF() > 0) {
        fixed.setPointSizeF(font().pointSizeF());
    }
    return fixed;
}

QColor ShortcutRecorderView::outlineColor() const
{
    return recording ? Theme::accent() : Theme::border();
}

QSize ShortcutRecorderView::sizeHint() const
{
    // Room for "Press keys..." too, so that starting to record does not move the layout.
    return RecorderLabel::sizeHint(labelFont(), label())
        .expandedTo(RecorderLabel::sizeHint(font(), QStringLiteral("Press keys...")));
}

void ShortcutRecorderView::showEvent(QShowEvent* event)
{
    QAbstractButton::showEvent(event);
    // One more monitor on every show, never removed: each lives as long as the control.
    auto* monitor = new ShortcutKeyMonitor(
        [this] { return recording; }, [this](QKeyEvent* keyEvent) { recordKey(keyEvent); }, this);
    monitor->install();
    ++monitors;
}

void ShortcutRecorderView::hideEvent(QHideEvent* event)
{
    QAbstractButton::hideEvent(event);
    // The monitors outlive the popover's visibility: a recorder nobody sees must not go on
    // taking every key of the application.
    setRecording(false);
}

void ShortcutRecorderView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    RecorderLabel::paint(painter, rect(), label(), labelFont(), labelColor(), outlineColor());
}

void ShortcutRecorderView::changeEvent(QEvent* event)
{
    QAbstractButton::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        updateGeometry();
    }
}

void ShortcutRecorderView::updateLabel()
{
    // The button's text is what assistive technology reads; the description carries it too,
    // for when the embedding view names the control.
    setText(label());
    setAccessibleDescription(label());
    updateGeometry();
    update();
}
