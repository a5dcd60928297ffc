#include "Views/PermissionRow.h"

#include "Utilities/Theme.h"

#include "support/QtPrinters.h"

#include <QLabel>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// The colour of the status image's most covered pixel.
QColor statusColour(const PermissionRow& row)
{
    const QImage image = row.statusImage()->pixmap().toImage();
    QColor best;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            if (!best.isValid() || colour.alpha() > best.alpha()) {
                best = colour;
            }
        }
    }
    return best;
}

} // namespace

TEST(PermissionRowTest, NotGrantedShowsAnEmptyCircleAndGrant)
{
    int requests = 0;
    PermissionRow row(QStringLiteral("Automation"), QStringLiteral("Control browsers"), false,
                      false, [&] { ++requests; });
    row.show();
    EXPECT_EQ(row.statusSymbol(), QStringLiteral("circle"));
    EXPECT_EQ(statusColour(row).rgb(), Theme::secondary().rgb());
    ASSERT_TRUE(row.grantButton()->isVisible());
    EXPECT_EQ(row.grantButton()->text(), QStringLiteral("Grant →"));
    EXPECT_FALSE(row.grantButton()->isFlat());
    EXPECT_FALSE(row.optionalLabel()->isVisible());

    QTest::mouseClick(row.grantButton(), Qt::LeftButton);
    EXPECT_EQ(requests, 1);
}

TEST(PermissionRowTest, GrantedShowsTheCheckMarkInTheRunningColourAndNoGrant)
{
    int requests = 0;
    PermissionRow row(QStringLiteral("Automation"), QStringLiteral("Control browsers"), true, false,
                      [&] { ++requests; });
    row.show();
    EXPECT_EQ(row.statusSymbol(), QStringLiteral("checkmark.circle.fill"));
    EXPECT_EQ(statusColour(row).rgb(), Theme::running().rgb());
    EXPECT_FALSE(row.grantButton()->isVisible());

    row.setGranted(false);
    EXPECT_TRUE(row.grantButton()->isVisible());
    EXPECT_EQ(row.statusSymbol(), QStringLiteral("circle"));
    row.setGranted(true);
    EXPECT_FALSE(row.grantButton()->isVisible());
    EXPECT_EQ(requests, 0);
}

TEST(PermissionRowTest, OptionalRowsSayItInACaptionAfterTheTitle)
{
    PermissionRow row(QStringLiteral("Accessibility"), QStringLiteral("Enable shortcut"), false,
                      true, nullptr);
    row.show();
    ASSERT_TRUE(row.optionalLabel()->isVisible());
    EXPECT_EQ(row.optionalLabel()->text(), QStringLiteral("(optional)"));
    EXPECT_LT(row.optionalLabel()->font().pointSizeF(), row.font().pointSizeF());
    // A row without a request does nothing when asked.
    QTest::mouseClick(row.grantButton(), Qt::LeftButton);
    QLabel* title = nullptr;
    const QList<QLabel*> labels = row.findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (label->text() == QStringLiteral("Accessibility")) {
            title = label;
        }
    }
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->font().weight(), QFont::Medium);
    EXPECT_LT(title->x(), row.optionalLabel()->x());
}
