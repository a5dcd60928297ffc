#include "Utilities/Theme.h"

#include "support/QtPrinters.h"

#include <QApplication>
#include <QPalette>

#include <gtest/gtest.h>

namespace {

void expectRgb(const QColor& color, int red, int green, int blue)
{
    const QColor rgb = color.toRgb();
    EXPECT_EQ(rgb.red(), red);
    EXPECT_EQ(rgb.green(), green);
    EXPECT_EQ(rgb.blue(), blue);
    EXPECT_EQ(rgb.alpha(), 255);
    EXPECT_EQ(color.spec(), QColor::Rgb);
}

} // namespace

TEST(ThemeTest, StatusColoursAreFixedSRGBValues)
{
    expectRgb(Theme::running(), 48, 209, 88);
    expectRgb(Theme::stopped(), 142, 142, 147);
    expectRgb(Theme::starting(), 255, 159, 10);
    expectRgb(Theme::warning(), 255, 214, 10);
}

TEST(ThemeTest, StoppedIsASlightlyBlueGreyNotANeutralOne)
{
    const QColor stopped = Theme::stopped();
    EXPECT_EQ(stopped.red(), stopped.green());
    EXPECT_GT(stopped.blue(), stopped.red());
    EXPECT_EQ(stopped.blue() - stopped.red(), 5);
}

TEST(ThemeTest, SystemColoursComeFromTheApplicationPalette)
{
    const QPalette palette = QApplication::palette();
    EXPECT_EQ(Theme::surface(), palette.color(QPalette::Active, QPalette::Base));
    EXPECT_EQ(Theme::border(), palette.color(QPalette::Active, QPalette::Mid));
    EXPECT_EQ(Theme::secondary(), palette.color(QPalette::Active, QPalette::PlaceholderText));
    EXPECT_EQ(Theme::accent(), palette.color(QPalette::Active, QPalette::Highlight));
}

namespace {

// Sets the application palette for one test and puts the old one back afterwards.
class ThemePaletteTest : public ::testing::Test
{
protected:
    ~ThemePaletteTest() override { QApplication::setPalette(original); }

    const QPalette original = QApplication::palette();
};

// A dark palette as a system in dark mode hands it to Qt.
QPalette darkPalette()
{
    QPalette dark = QApplication::palette();
    dark.setColor(QPalette::Window, QColor(30, 30, 30));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Base, QColor(40, 40, 40));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    dark.setColor(QPalette::Mid, QColor(70, 70, 70));
    return dark;
}

QList<const QColor* (*)()> allConstants()
{
    return {
        [] { return &Theme::surface(); },   [] { return &Theme::border(); },
        [] { return &Theme::secondary(); }, [] { return &Theme::accent(); },
        [] { return &Theme::running(); },   [] { return &Theme::stopped(); },
        [] { return &Theme::starting(); },  [] { return &Theme::warning(); },
    };
}

} // namespace

TEST(ThemeTest, EveryConstantIsTheSameValueOnEveryAccess)
{
    for (const auto accessor : allConstants()) {
        const QColor first = *accessor();
        for (int access = 0; access < 5; ++access) {
            EXPECT_EQ(*accessor(), first);
            // The very same object, not merely an equal one.
            EXPECT_EQ(accessor(), accessor());
        }
    }
}

TEST_F(ThemePaletteTest, SurfaceAndBorderFollowTheSystemAppearance)
{
    const QColor lightSurface = Theme::surface();
    const QColor lightBorder = Theme::border();
    const QColor* surfaceObject = &Theme::surface();

    QApplication::setPalette(darkPalette());
    EXPECT_EQ(Theme::surface(), QColor(40, 40, 40));
    EXPECT_EQ(Theme::border(), QColor(70, 70, 70));
    EXPECT_NE(Theme::surface(), lightSurface);
    EXPECT_NE(Theme::border(), lightBorder);
    // Within the dark appearance every access gives the same value, from the same object.
    EXPECT_EQ(Theme::surface(), Theme::surface());
    EXPECT_EQ(&Theme::surface(), surfaceObject);

    QApplication::setPalette(original);
    EXPECT_EQ(Theme::surface(), lightSurface);
    EXPECT_EQ(Theme::border(), lightBorder);
}

TEST_F(ThemePaletteTest, OtherConstantsStayTheSameAcrossAnAppearanceChange)
{
    const QList<const QColor* (*)()> accessors = allConstants();
    QList<QColor> before;
    for (const auto accessor : accessors) {
        before.append(*accessor());
    }
    QPalette dark = darkPalette();
    dark.setColor(QPalette::Highlight, QColor(4, 5, 6));
    dark.setColor(QPalette::PlaceholderText, QColor(7, 8, 9));
    QApplication::setPalette(dark);
    // surface and border (0 and 1) follow the appearance; the rest are made once.
    for (qsizetype index = 2; index < accessors.size(); ++index) {
        EXPECT_EQ(*accessors.at(index)(), before.at(index)) << "colour " << index;
    }
    expectRgb(Theme::stopped(), 142, 142, 147);
    expectRgb(Theme::running(), 48, 209, 88);
}
