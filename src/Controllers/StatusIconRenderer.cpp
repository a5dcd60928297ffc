#include "Controllers/StatusIconRenderer.h"

#include "Utilities/Theme.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <QPainterPath>

namespace {

// Fills the opaque pixels of `glyph` with `color` and keeps its alpha (source-atop).
void tint(QImage& glyph, const QColor& color)
{
    QPainter painter(&glyph);
    painter.setCompositionMode(QPainter::CompositionMode_SourceAtop);
    painter.fillRect(QRectF(QPointF(0, 0), glyph.deviceIndependentSize()), color);
}

QImage loadAsset(const QString& path)
{
    if (path.isEmpty() || !QFile::exists(path)) {
        return QImage();
    }
    // Read as PNG, as the assets are: guessing the format would load every image format
    // plugin, which delays the first icon at launch.
    QImageReader reader(path, "png");
    reader.setAutoDetectImageFormat(false);
    QImage asset = reader.read();
    if (asset.isNull()) {
        asset = QImage(path);
    }
    if (asset.isNull()) {
        return asset;
    }
    asset = asset.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    // The 2x file holds 32 pixels for 16 points.
    asset.setDevicePixelRatio(asset.width() / StatusIconRenderer::iconSize);
    return asset;
}

// A small globe, standing for the "network" system symbol when the asset is missing.
QImage drawFallbackGlyph(qreal devicePixelRatio)
{
    const qreal size = StatusIconRenderer::iconSize;
    QImage glyph(QSize(qCeil(size * devicePixelRatio), qCeil(size * devicePixelRatio)),
                 QImage::Format_ARGB32_Premultiplied);
    glyph.setDevicePixelRatio(devicePixelRatio);
    glyph.fill(Qt::transparent);

    QPainter painter(&glyph);
    painter.setRenderHint(QPainter::Antialiasing);
    QPen pen(Qt::black, 1.3);
    painter.setPen(pen);
    painter.setBrush(Qt::NoBrush);
    const QRectF globe(1.5, 1.5, size - 3, size - 3);
    painter.drawEllipse(globe);
    painter.drawEllipse(QRectF(globe.center().x() - 2.8, globe.top(), 5.6, globe.height()));
    painter.drawLine(QPointF(globe.left(), globe.center().y()),
                     QPointF(globe.right(), globe.center().y()));
    QPainterPath latitudes;
    latitudes.moveTo(globe.left() + 1.6, globe.top() + 3.8);
    latitudes.lineTo(globe.right() - 1.6, globe.top() + 3.8);
    latitudes.moveTo(globe.left() + 1.6, globe.bottom() - 3.8);
    latitudes.lineTo(globe.right() - 1.6, globe.bottom() - 3.8);
    painter.drawPath(latitudes);
    return glyph;
}

} // namespace

QString StatusIconRenderer::assetPath(qreal devicePixelRatio)
{
    return devicePixelRatio > 1.0 ? QStringLiteral(":/StatusBarIcon@2x.png")
                                  : QStringLiteral(":/StatusBarIcon.png");
}

QImage StatusIconRenderer::render(const QColor& dotColor, bool darkAppearance,
                                  qreal devicePixelRatio)
{
    return render(dotColor, darkAppearance, devicePixelRatio, assetPath(devicePixelRatio));
}

QImage StatusIconRenderer::render(const QColor& dotColor, bool darkAppearance,
                                  qreal devicePixelRatio, const QString& glyphAsset)
{
    const qreal ratio = devicePixelRatio > 0 ? devicePixelRatio : 1.0;
    const QSizeF canvas(imageWidth, imageHeight);
    QImage image(QSize(qCeil(imageWidth * ratio), qCeil(imageHeight * ratio)),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);

    QImage glyph = loadAsset(glyphAsset);
    if (glyph.isNull()) {
        glyph = drawFallbackGlyph(ratio);
    }
    tint(glyph, glyphColor(darkAppearance));

    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(glyphRect(canvas), glyph);

    const QRectF dot = dotRect(canvas);
    painter.setPen(QPen(QColor(0, 0, 0, qRound(0.3 * 255)), 0.5));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(dot.adjusted(-0.5, -0.5, 0.5, 0.5));
    painter.setPen(Qt::NoPen);
    painter.setBrush(dotColor);
    painter.drawEllipse(dot);
    painter.end();
    return image;
}

QColor StatusIconRenderer::statusColor(ServerStatus status)
{
    switch (status) {
    case ServerStatus::running:
        return Theme::running();
    case ServerStatus::starting:
        return Theme::starting();
    case ServerStatus::stopped:
    case ServerStatus::unknown:
        break;
    }
    return Theme::stopped();
}

QColor StatusIconRenderer::glyphColor(bool darkAppearance)
{
    return darkAppearance ? QColor(Qt::white) : QColor(Qt::black);
}

bool StatusIconRenderer::isDarkAppearance(std::optional<bool> userChoice, const QPalette& palette)
{
    if (userChoice) {
        return *userChoice;
    }
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

QRectF StatusIconRenderer::glyphRect(const QSizeF& canvas)
{
    // Left-aligned and vertically centred.
    return QRectF(0, (canvas.height() - iconSize) / 2, iconSize, iconSize);
}

QRectF StatusIconRenderer::dotRect(const QSizeF& canvas)
{
    // One point in from the right and top edges.
    return QRectF(canvas.width() - 5, 1, dotSize, dotSize);
}
