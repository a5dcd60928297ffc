#pragma once

#include "Models/ServerStatus.h"

#include <QColor>
#include <QImage>
#include <QPalette>
#include <QSizeF>
#include <QString>

#include <optional>

// Draws the status item's icon: the glyph, tinted for the bar's appearance, and the status dot
// in the top-right corner.
class StatusIconRenderer
{
public:
    StatusIconRenderer() = delete;

    // Points (width by height).
    static constexpr qreal imageWidth = 22;
    static constexpr qreal imageHeight = 18;
    static constexpr qreal iconSize = 16;
    static constexpr qreal dotSize = 4;

    // The glyph asset for a device pixel ratio (":/StatusBarIcon.png" or its @2x variant).
    static QString assetPath(qreal devicePixelRatio);

    // A 22 × 18 point image at `devicePixelRatio`. An empty or missing asset draws the fallback
    // network glyph.
    static QImage render(const QColor& dotColor, bool darkAppearance, qreal devicePixelRatio,
                         const QString& glyphAsset);
    static QImage render(const QColor& dotColor, bool darkAppearance, qreal devicePixelRatio);

    static QColor statusColor(ServerStatus status);
    // White on a dark bar, black on a light one.
    static QColor glyphColor(bool darkAppearance);
    // The user's choice when there is one; else whether the palette draws light text on a dark
    // window.
    static bool isDarkAppearance(std::optional<bool> userChoice, const QPalette& palette);

    // The 16-point square the glyph is drawn into, and the dot's square (points, y down).
    static QRectF glyphRect(const QSizeF& canvas);
    static QRectF dotRect(const QSizeF& canvas);
};
