#include "Views/SymbolImage.h"

#include "support/QtPrinters.h"

#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QPixmap>

#include <gtest/gtest.h>

namespace {

const QStringList shippedSymbols = {
    QStringLiteral("eye"),
    QStringLiteral("link"),
    QStringLiteral("folder.fill"),
    QStringLiteral("keyboard"),
    QStringLiteral("lock.shield.fill"),
    QStringLiteral("checkmark.circle.fill"),
    QStringLiteral("circle"),
    QStringLiteral("exclamationmark.triangle.fill"),
    QStringLiteral("xmark.circle.fill"),
};

struct PixelCount
{
    int opaque = 0;
    // At least half covered: thin strokes at small sizes are rarely fully opaque.
    int visible = 0;
    int transparent = 0;
    // Visible pixels of another colour than the tint, ignoring alpha.
    int offTint = 0;
};

PixelCount countPixels(const QImage& source, const QColor& tint)
{
    const QImage image = source.convertToFormat(QImage::Format_ARGB32);
    PixelCount count;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor color = image.pixelColor(x, y);
            if (color.alpha() == 0) {
                ++count.transparent;
                continue;
            }
            if (color.alpha() == 255) {
                ++count.opaque;
            }
            if (color.alpha() >= 128) {
                ++count.visible;
            }
            // Un-premultiplying faint edge pixels loses a little precision.
            if (color.alpha() > 64 && (std::abs(color.red() - tint.red()) > 4 ||
                                       std::abs(color.green() - tint.green()) > 4 ||
                                       std::abs(color.blue() - tint.blue()) > 4)) {
                ++count.offTint;
            }
        }
    }
    return count;
}

} // namespace

TEST(SymbolImageTest, EveryShippedSymbolIsDrawnInTheTintOnly)
{
    const QColor tint = QColor::fromRgb(48, 209, 88);
    for (const QString& name : shippedSymbols) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_TRUE(SymbolImage::exists(name));
        const QPixmap pixmap = SymbolImage::pixmap(name, 32, tint);
        ASSERT_FALSE(pixmap.isNull());
        EXPECT_EQ(pixmap.size(), QSize(32, 32));
        const PixelCount count = countPixels(pixmap.toImage(), tint);
        // A real drawing: solid parts and empty parts, nothing but the tint.
        EXPECT_GT(count.opaque, 20);
        EXPECT_GT(count.transparent, 100);
        EXPECT_EQ(count.offTint, 0);
    }
}

TEST(SymbolImageTest, LightAndDarkTintsPaintTheSameShape)
{
    const QImage light = SymbolImage::pixmap(QStringLiteral("eye"), 24, Qt::black).toImage();
    const QImage dark = SymbolImage::pixmap(QStringLiteral("eye"), 24, Qt::white).toImage();
    ASSERT_EQ(light.size(), dark.size());
    int differingAlpha = 0;
    for (int y = 0; y < light.height(); ++y) {
        for (int x = 0; x < light.width(); ++x) {
            differingAlpha += light.pixelColor(x, y).alpha() != dark.pixelColor(x, y).alpha();
        }
    }
    EXPECT_EQ(differingAlpha, 0);
    EXPECT_EQ(light.pixelColor(12, 12).rgb(), QColor(Qt::black).rgb());
    EXPECT_EQ(dark.pixelColor(12, 12).rgb(), QColor(Qt::white).rgb());
}

TEST(SymbolImageTest, HolesOfFilledSymbolsStayTransparent)
{
    // The check mark is cut out of the filled circle, so the circle's background shows through.
    const QImage check =
        SymbolImage::pixmap(QStringLiteral("checkmark.circle.fill"), 48, Qt::red).toImage();
    EXPECT_EQ(check.pixelColor(8, 24).alpha(), 255) << "left of the circle is filled";
    EXPECT_EQ(check.pixelColor(27, 25).alpha(), 0) << "the stroke of the check is cut out";
    const QImage cross =
        SymbolImage::pixmap(QStringLiteral("xmark.circle.fill"), 48, Qt::red).toImage();
    EXPECT_EQ(cross.pixelColor(24, 24).alpha(), 0) << "the crossing of the X is cut out";
    EXPECT_EQ(cross.pixelColor(24, 8).alpha(), 255);
}

TEST(SymbolImageTest, PixmapFollowsTheDevicePixelRatio)
{
    const QPixmap pixmap = SymbolImage::pixmap(QStringLiteral("folder.fill"), 16, Qt::blue, 2.0);
    EXPECT_EQ(pixmap.size(), QSize(32, 32));
    EXPECT_EQ(pixmap.devicePixelRatio(), 2.0);
    EXPECT_EQ(pixmap.deviceIndependentSize(), QSizeF(16, 16));
}

TEST(SymbolImageTest, IconPaintsTheTintAtEverySizeAskedFor)
{
    const QColor tint = QColor::fromRgb(255, 159, 10);
    const QIcon icon = SymbolImage::icon(QStringLiteral("keyboard"), tint);
    ASSERT_FALSE(icon.isNull());
    for (const int side : {16, 22, 64}) {
        SCOPED_TRACE(side);
        const QPixmap pixmap = icon.pixmap(QSize(side, side));
        EXPECT_EQ(pixmap.size(), QSize(side, side));
        const PixelCount count = countPixels(pixmap.toImage(), tint);
        EXPECT_GT(count.visible, side);
        EXPECT_EQ(count.offTint, 0);
    }
}

TEST(SymbolImageTest, DisabledIconIsFaded)
{
    const QIcon icon = SymbolImage::icon(QStringLiteral("folder.fill"), Qt::black);
    const QImage normal = icon.pixmap(QSize(24, 24), QIcon::Normal).toImage();
    const QImage disabled = icon.pixmap(QSize(24, 24), QIcon::Disabled).toImage();
    EXPECT_EQ(normal.pixelColor(12, 14).alpha(), 255);
    EXPECT_GT(disabled.pixelColor(12, 14).alpha(), 0);
    EXPECT_LT(disabled.pixelColor(12, 14).alpha(), 128);
}

TEST(SymbolImageTest, IconWithoutTintUsesThePaletteTextColour)
{
    const QIcon icon = SymbolImage::icon(QStringLiteral("folder.fill"));
    const QImage image = icon.pixmap(QSize(24, 24)).toImage();
    const QColor text = QGuiApplication::palette().color(QPalette::WindowText);
    EXPECT_EQ(image.pixelColor(12, 14).rgb(), text.rgb());
}

TEST(SymbolImageTest, UnknownNamesGiveNullImagesWithoutCrashing)
{
    for (const QString& name : {QString(), QStringLiteral("no.such.symbol"),
                                QStringLiteral("../StatusBarIcon"), QStringLiteral("eye/")}) {
        SCOPED_TRACE(name.toStdString());
        EXPECT_FALSE(SymbolImage::exists(name));
        EXPECT_TRUE(SymbolImage::icon(name, Qt::black).isNull());
        EXPECT_TRUE(SymbolImage::pixmap(name, 16, Qt::black).isNull());
    }
    EXPECT_TRUE(SymbolImage::pixmap(QStringLiteral("eye"), 0, Qt::black).isNull());
    EXPECT_TRUE(SymbolImage::pixmap(QStringLiteral("eye"), -3, Qt::black).isNull());
    EXPECT_TRUE(SymbolImage::pixmap(QStringLiteral("eye"), 16, Qt::black, 0.0).isNull());
}

TEST(SymbolImageTest, DotIsAFilledCircleOfTheColourAtThePixelRatio)
{
    const QColor colour = QColor::fromRgb(48, 209, 88);
    const QPixmap dot = SymbolImage::dot(colour, 8, 2.0);
    ASSERT_EQ(dot.size(), QSize(16, 16));
    EXPECT_EQ(dot.devicePixelRatio(), 2.0);
    const QImage image = dot.toImage();
    EXPECT_EQ(image.pixelColor(8, 8), colour);
    // Round, not square: the corners stay transparent.
    EXPECT_EQ(image.pixelColor(0, 0).alpha(), 0);
    EXPECT_EQ(image.pixelColor(15, 15).alpha(), 0);
}
