#include "Controllers/StatusIconRenderer.h"
#include "Utilities/Theme.h"

#include "support/QtPrinters.h"

#include <QFile>
#include <QImage>

#include <gtest/gtest.h>

namespace {

QColor pixel(const QImage& image, int x, int y)
{
    return image.pixelColor(x, y).toRgb();
}

// Opaque pixels of the glyph square, in device pixels.
QList<QColor> opaqueGlyphPixels(const QImage& image)
{
    const qreal ratio = image.devicePixelRatio();
    QList<QColor> found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < qRound(16 * ratio); ++x) {
            const QColor color = pixel(image, x, y);
            if (color.alpha() == 255) {
                found.append(color);
            }
        }
    }
    return found;
}

} // namespace

TEST(StatusIconRendererTest, IsTwentyTwoByEighteenPointsAtTheDevicePixelRatio)
{
    const QImage normal = StatusIconRenderer::render(Theme::running(), false, 1.0);
    EXPECT_EQ(normal.size(), QSize(22, 18));
    EXPECT_EQ(normal.devicePixelRatio(), 1.0);

    const QImage retina = StatusIconRenderer::render(Theme::running(), false, 2.0);
    EXPECT_EQ(retina.size(), QSize(44, 36));
    EXPECT_EQ(retina.devicePixelRatio(), 2.0);
    EXPECT_EQ(retina.deviceIndependentSize(), QSizeF(22, 18));
}

TEST(StatusIconRendererTest, DotTakesTheColourOfEachServerState)
{
    const QList<QPair<ServerStatus, QColor>> cases = {
        {ServerStatus::running, QColor(48, 209, 88)},
        {ServerStatus::starting, QColor(255, 159, 10)},
        {ServerStatus::stopped, QColor(142, 142, 147)},
        {ServerStatus::unknown, QColor(142, 142, 147)},
    };
    for (const auto& [status, color] : cases) {
        EXPECT_EQ(StatusIconRenderer::statusColor(status), color);
        const QImage normal =
            StatusIconRenderer::render(StatusIconRenderer::statusColor(status), false, 1.0);
        // The dot's square is x 17...21, y 1...5: its centre pixels are solid.
        EXPECT_EQ(pixel(normal, 19, 3), color);
        EXPECT_EQ(pixel(normal, 18, 2), color);
        const QImage retina =
            StatusIconRenderer::render(StatusIconRenderer::statusColor(status), true, 2.0);
        EXPECT_EQ(pixel(retina, 38, 6), color);
        EXPECT_EQ(pixel(retina, 36, 4), color);
    }
}

TEST(StatusIconRendererTest, DotSitsOnePointInFromTheTopRightCorner)
{
    const QRectF dot = StatusIconRenderer::dotRect(QSizeF(22, 18));
    EXPECT_EQ(dot, QRectF(17, 1, 4, 4));

    const QImage image = StatusIconRenderer::render(QColor(255, 0, 0), false, 2.0);
    // Nothing of the dot or its outline beyond the square grown by half a point.
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 32; x < image.width(); ++x) {
            const bool nearDot = x >= 32 && x < 44 && y < 12;
            if (!nearDot) {
                EXPECT_EQ(pixel(image, x, y).alpha(), 0) << x << "," << y;
            }
        }
    }
    // The outline: black at 30 % with a half-point line, just outside the fill.
    const QColor outline = pixel(image, 38, 1);
    EXPECT_GT(outline.alpha(), 0);
    EXPECT_LE(outline.alpha(), 90);
    EXPECT_LT(outline.red(), 40);
    EXPECT_EQ(pixel(image, 38, 0).alpha() + pixel(image, 38, 1).alpha() > 0, true);
}

TEST(StatusIconRendererTest, GlyphIsBlackOnALightBarAndWhiteOnADarkOne)
{
    for (const qreal ratio : {1.0, 2.0}) {
        const QList<QColor> light =
            opaqueGlyphPixels(StatusIconRenderer::render(Theme::stopped(), false, ratio));
        ASSERT_GT(light.size(), 20 * ratio * ratio);
        for (const QColor& color : light) {
            EXPECT_EQ(color, QColor(0, 0, 0));
        }
        const QList<QColor> dark =
            opaqueGlyphPixels(StatusIconRenderer::render(Theme::stopped(), true, ratio));
        ASSERT_EQ(dark.size(), light.size());
        for (const QColor& color : dark) {
            EXPECT_EQ(color, QColor(255, 255, 255));
        }
    }
    EXPECT_EQ(StatusIconRenderer::glyphColor(true), QColor(Qt::white));
    EXPECT_EQ(StatusIconRenderer::glyphColor(false), QColor(Qt::black));
}

TEST(StatusIconRendererTest, GlyphIsTheShippedAssetLeftAlignedAndVerticallyCentred)
{
    ASSERT_TRUE(QFile::exists(QStringLiteral(":/StatusBarIcon.png")));
    ASSERT_TRUE(QFile::exists(QStringLiteral(":/StatusBarIcon@2x.png")));
    EXPECT_EQ(QImage(QStringLiteral(":/StatusBarIcon.png")).size(), QSize(16, 16));
    EXPECT_EQ(QImage(QStringLiteral(":/StatusBarIcon@2x.png")).size(), QSize(32, 32));
    EXPECT_EQ(StatusIconRenderer::glyphRect(QSizeF(22, 18)), QRectF(0, 1, 16, 16));

    const QImage asset = QImage(QStringLiteral(":/StatusBarIcon.png"))
                             .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QImage image = StatusIconRenderer::render(Theme::stopped(), true, 1.0);
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            // Source-atop tint keeps the asset's coverage exactly.
            EXPECT_EQ(pixel(image, x, y + 1).alpha(), asset.pixelColor(x, y).alpha())
                << x << "," << y;
        }
    }
    for (int x = 0; x < 16; ++x) {
        EXPECT_EQ(pixel(image, x, 0).alpha(), 0);
        EXPECT_EQ(pixel(image, x, 17).alpha(), 0);
    }
}

TEST(StatusIconRendererTest, MissingAssetFallsBackToADrawnNetworkGlyph)
{
    const QImage fallback = StatusIconRenderer::render(Theme::running(), false, 2.0,
                                                       QStringLiteral(":/NoSuchIcon.png"));
    const QImage shipped = StatusIconRenderer::render(Theme::running(), false, 2.0);
    const QList<QColor> pixels = opaqueGlyphPixels(fallback);
    EXPECT_GT(pixels.size(), 40);
    for (const QColor& color : pixels) {
        EXPECT_EQ(color, QColor(0, 0, 0));
    }
    EXPECT_NE(fallback, shipped);
    // The dot is drawn all the same.
    EXPECT_EQ(pixel(fallback, 38, 6), QColor(48, 209, 88));
    EXPECT_EQ(StatusIconRenderer::render(Theme::running(), false, 2.0, QString()), fallback);
}

TEST(StatusIconRendererTest, AppearanceFollowsTheUsersChoiceElseThePalette)
{
    QPalette light;
    light.setColor(QPalette::Window, QColor(236, 236, 236));
    light.setColor(QPalette::WindowText, QColor(0, 0, 0));
    QPalette dark;
    dark.setColor(QPalette::Window, QColor(40, 40, 40));
    dark.setColor(QPalette::WindowText, QColor(255, 255, 255));

    EXPECT_FALSE(StatusIconRenderer::isDarkAppearance(std::nullopt, light));
    EXPECT_TRUE(StatusIconRenderer::isDarkAppearance(std::nullopt, dark));
    EXPECT_TRUE(StatusIconRenderer::isDarkAppearance(true, light));
    EXPECT_FALSE(StatusIconRenderer::isDarkAppearance(false, dark));
}
