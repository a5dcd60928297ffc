#include "Views/SymbolImage.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QSvgRenderer>

#include <algorithm>
#include <cmath>

namespace {

// Faded the way disabled menu items and labels are.
constexpr qreal disabledOpacity = 0.35;

QColor effectiveTint(const QColor& tint, QIcon::Mode mode)
{
    QColor color = tint.isValid() ? tint
                                  : QGuiApplication::palette().color(mode == QIcon::Selected
                                                                         ? QPalette::HighlightedText
                                                                         : QPalette::WindowText);
    if (mode == QIcon::Disabled) {
        color.setAlphaF(color.alphaF() * disabledOpacity);
    }
    return color;
}

QImage renderTinted(const QString& name, const QSize& pixelSize, const QColor& tint)
{
    if (pixelSize.isEmpty()) {
        return {};
    }
    QSvgRenderer renderer(SymbolImage::resourcePath(name));
    if (!renderer.isValid()) {
        return {};
    }
    QImage image(pixelSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    // Square symbols stay square and centred in a rectangle of another shape.
    const int side = std::min(pixelSize.width(), pixelSize.height());
    const QRectF target((pixelSize.width() - side) / 2.0, (pixelSize.height() - side) / 2.0, side,
                        side);
    renderer.render(&painter, target);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), tint);
    painter.end();
    return image;
}

// Paints the symbol afresh for every size and pixel ratio asked for, so it stays sharp.
class SymbolIconEngine final : public QIconEngine
{
public:
    SymbolIconEngine(QString name, QColor tint) : name(std::move(name)), tint(std::move(tint)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        const qreal dpr = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
        const QSize pixels(qRound(rect.width() * dpr), qRound(rect.height() * dpr));
        QImage image = renderTinted(name, pixels, effectiveTint(tint, mode));
        image.setDevicePixelRatio(dpr);
        painter->drawImage(rect, image);
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State, qreal scale) override
    {
        const QSize pixels(qRound(size.width() * scale), qRound(size.height() * scale));
        QPixmap result = QPixmap::fromImage(renderTinted(name, pixels, effectiveTint(tint, mode)));
        result.setDevicePixelRatio(scale);
        return result;
    }

    QSize actualSize(const QSize& size, QIcon::Mode, QIcon::State) override
    {
        const int side = std::min(size.width(), size.height());
        return {side, side};
    }

    QIconEngine* clone() const override { return new SymbolIconEngine(name, tint); }
    QString key() const override { return QStringLiteral("wisp-symbol"); }
    QString iconName() override { return name; }
    bool isNull() override { return false; }

private:
    QString name;
    QColor tint;
};

} // namespace

QString SymbolImage::resourcePath(const QString& name)
{
    return QStringLiteral(":/symbols/%1.svg").arg(name);
}

bool SymbolImage::exists(const QString& name)
{
    // Names are plain symbol names; anything that could step out of the folder is unknown.
    if (name.isEmpty() || name.contains(QLatin1Char('/'))) {
        return false;
    }
    return QFile::exists(resourcePath(name));
}

QIcon SymbolImage::icon(const QString& name, const QColor& tint)
{
    if (!exists(name)) {
        return {};
    }
    return QIcon(new SymbolIconEngine(name, tint));
}

QPixmap SymbolImage::pixmap(const QString& name, int size, const QColor& tint, qreal dpr)
{
    if (size < 1 || !exists(name) || !(dpr > 0) || !std::isfinite(dpr)) {
        return {};
    }
    const int pixels = qRound(size * dpr);
    QPixmap result = QPixmap::fromImage(renderTinted(name, QSize(pixels, pixels), tint));
    result.setDevicePixelRatio(dpr);
    return result;
}

QPixmap SymbolImage::dot(const QColor& color, int size, qreal dpr)
{
    QPixmap pixmap(QSize(size, size) * dpr);
    pixmap.setDevicePixelRatio(dpr);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0, 0, size, size));
    return pixmap;
}
