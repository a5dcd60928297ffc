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

TEST(ThemeTest, EveryConstantIsTheSameValueOnEveryAccess)
{
    const QList<const QColor* (*)()> accessors = {
        [] { return &Theme::surface(); },   [] { return &Theme::border(); },
        [] { return &Theme::secondary(); }, [] { return &Theme::accent(); },
        [] { return &Theme::running(); },   [] { return &Theme::stopped(); },
        [] { return &Theme::starting(); },  [] { return &Theme::warning(); },
    };
    QList<QColor> first;
    for (const auto accessor : accessors) {
        first.append(*accessor());
        // The very same object, not merely an equal one.
        EXPECT_EQ(accessor(), accessor());
    }

    // Made once: a later palette change does not make a second value.
    const QPalette original = QApplication::palette();
    QPalette changed = original;
    changed.setColor(QPalette::Base, QColor(1, 2, 3));
    changed.setColor(QPalette::Highlight, QColor(4, 5, 6));
    QApplication::setPalette(changed);
    for (qsizetype index = 0; index < accessors.size(); ++index) {
        EXPECT_EQ(*accessors.at(index)(), first.at(index)) << "colour " << index;
    }
    // The palette belongs to the whole test program.
    QApplication::setPalette(original);
}
