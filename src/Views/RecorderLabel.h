#pragma once

#include <QColor>
#include <QFont>
#include <QSize>
#include <QString>

class QPainter;
class QRectF;

// How both shortcut recorders draw: a label with padding inside a rounded outline.
class RecorderLabel
{
public:
    RecorderLabel() = delete;

    static constexpr int horizontalPadding = 8;
    static constexpr int verticalPadding = 6;
    static constexpr qreal outlineWidth = 1.0;
    static constexpr qreal cornerRadius = 6.0;

    // The text's size plus the padding on each side.
    static QSize sizeHint(const QFont& font, const QString& text);
    static void paint(QPainter& painter, const QRectF& bounds, const QString& text,
                      const QFont& font, const QColor& textColor, const QColor& outlineColor);
};
