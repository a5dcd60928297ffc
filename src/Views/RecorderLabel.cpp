#include "RecorderLabel.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPen>
#include <QRectF>
#include <QtMath>

QSize RecorderLabel::sizeHint(const QFont& font, const QString& text)
{
    const QFontMetrics metrics(font);
    // The pen is centred on the outline, so half of it lies outside the text area.
    const int outline = qCeil(outlineWidth);
    return QSize(metrics.horizontalAdvance(text) + 2 * (horizontalPadding + outline),
                 metrics.height() + 2 * (verticalPadding + outline));
}

void RecorderLabel::paint(QPainter& painter, const QRectF& bounds, const QString& text,
                          const QFont& font, const QColor& textColor, const QColor& outlineColor)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);

    const qreal inset = outlineWidth / 2;
    QPen pen(outlineColor);
    pen.setWidthF(outlineWidth);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(bounds.adjusted(inset, inset, -inset, -inset), cornerRadius,
                            cornerRadius);

    painter.setFont(font);
    painter.setPen(textColor);
    const QRectF textArea =
        bounds.adjusted(horizontalPadding, verticalPadding, -horizontalPadding, -verticalPadding);
    painter.drawText(textArea, Qt::AlignCenter | Qt::TextSingleLine, text);
    painter.restore();
}
