#include "Controllers/StatusMenuModel.h"
#include "Controllers/StatusMenuRenderer.h"
#include "Controllers/StatusMenuStyle.h"
#include "Views/SymbolImage.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QAction>
#include <QFontInfo>
#include <QMenu>
#include <QTest>

#include <gtest/gtest.h>

namespace {

bool isRed(const QColor& colour)
{
    return colour.red() > 180 && colour.green() < 90 && colour.blue() < 90;
}

bool isDark(const QColor& colour)
{
    return colour.red() < 90 && colour.green() < 90 && colour.blue() < 90;
}

// Columns of `rect` in `image` holding a pixel that passes `test`, as [first, last], or {-1, -1}.
std::pair<int, int> columnsWhere(const QImage& image, const QRect& rect,
                                 const std::function<bool(const QColor&)>& test)
{
    std::pair<int, int> found{-1, -1};
    for (int x = rect.left(); x <= rect.right(); ++x) {
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            if (test(image.pixelColor(x, y))) {
                if (found.first < 0) {
                    found.first = x;
                }
                found.second = x;
                break;
            }
        }
    }
    return found;
}

class StatusMenuStyleTest : public ::testing::Test
{
protected:
    StatusMenuStyleTest()
    {
        QList<StatusMenuItem> items;
        StatusMenuItem find;
        find.title = QStringLiteral("Find localhost:3000");
        find.action = StatusMenuItem::Action::mainActionClicked;
        find.imageName = QStringLiteral("eye");
        find.imageDescription = QStringLiteral("Find");
        items.append(find);
        items.append(StatusMenuModel::createProjectMenuItem(
            QStringLiteral("web"), 3000, StatusMenuItem::Action::projectSelected, true));
        StatusMenuItem settings;
        settings.title = QStringLiteral("Settings...");
        settings.action = StatusMenuItem::Action::settingsClicked;
        items.append(settings);
        StatusMenuRenderer::populate(&menu, items, [this](StatusMenuItem::Action action, QAction*) {
            chosen.append(action);
        });
        // Text and secondary text in colours that cannot be mistaken for each other.
        QPalette palette = menu.palette();
        for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
            palette.setColor(group, QPalette::Text, Qt::black);
            palette.setColor(group, QPalette::WindowText, Qt::black);
            palette.setColor(group, QPalette::ButtonText, Qt::black);
            palette.setColor(group, QPalette::PlaceholderText, Qt::red);
            palette.setColor(group, QPalette::Window, Qt::white);
            palette.setColor(group, QPalette::Base, Qt::white);
            palette.setColor(group, QPalette::Button, Qt::white);
            palette.setColor(group, QPalette::Highlight, Qt::black);
            palette.setColor(group, QPalette::HighlightedText, Qt::white);
        }
        menu.setPalette(palette);
        menu.popup(QPoint(50, 50));
        TestSupport::waitUntil([&] { return menu.isVisible(); });
    }

    QAction* project() const { return menu.actions().at(1); }

    QMenu menu;
    QList<StatusMenuItem::Action> chosen;
};

} // namespace

TEST_F(StatusMenuStyleTest, ProjectItemKeepsItsPlainTitleAndItsTwoParts)
{
    EXPECT_EQ(project()->text(), QStringLiteral("web :3000"));
    EXPECT_EQ(StatusMenuStyle::projectTitle(project()),
              (QStringList{QStringLiteral("web"), QStringLiteral(":3000")}));
    EXPECT_TRUE(StatusMenuStyle::projectTitle(menu.actions().at(2)).isEmpty());
    EXPECT_TRUE(project()->isChecked());
    EXPECT_EQ(menu.style(), StatusMenuStyle::shared());
}

TEST_F(StatusMenuStyleTest, PortIsDrawnAfterTheNameInTheSecondaryColour)
{
    const QImage image = menu.grab().toImage();
    ASSERT_EQ(image.devicePixelRatio(), 1.0);
    const QRect item = menu.actionGeometry(project());
    const auto red = columnsWhere(image, item, isRed);
    ASSERT_GE(red.first, 0) << "no port drawn in the secondary colour";
    // The name is dark and comes first; the port follows after a space.
    const QRect nameArea(item.left(), item.top(), red.first - item.left(), item.height());
    const auto dark = columnsWhere(image, nameArea, isDark);
    ASSERT_GE(dark.first, 0);
    const int space = QFontMetrics(menu.font()).horizontalAdvance(QLatin1Char(' '));
    EXPECT_GE(red.first - dark.second, space / 2);
    // ":3000" in the narrower font is still shorter than the name part plus the item's room.
    EXPECT_LT(red.second, item.right());

    // Other items have no secondary-coloured text.
    const QRect settings = menu.actionGeometry(menu.actions().at(2));
    EXPECT_EQ(columnsWhere(image, settings, isRed).first, -1);
}

TEST_F(StatusMenuStyleTest, PortFontIsSmallerAndMonospaced)
{
    const QFont font = StatusMenuStyle::portFont(menu.font());
    EXPECT_TRUE(QFontInfo(font).fixedPitch());
    EXPECT_LT(font.pointSizeF(), menu.font().pointSizeF());
    EXPECT_EQ(font.weight(), QFont::Normal);
}

TEST_F(StatusMenuStyleTest, KeyboardReachesAndChoosesTheProjectItem)
{
    QTest::keyClick(&menu, Qt::Key_Down);
    if (menu.activeAction() != menu.actions().at(0)) {
        QTest::keyClick(&menu, Qt::Key_Up);
    }
    ASSERT_EQ(menu.activeAction(), menu.actions().at(0));
    QTest::keyClick(&menu, Qt::Key_Down);
    ASSERT_EQ(menu.activeAction(), project());
    // Highlighted, the item still shows its port after the name, in the highlighted text colour.
    const QImage image = menu.grab().toImage();
    const auto light = columnsWhere(image, menu.actionGeometry(project()), [](const QColor& c) {
        return c.red() > 150 && c.green() > 150 && c.blue() > 150;
    });
    ASSERT_GE(light.first, 0);
    const QFontMetrics metrics(menu.font());
    EXPECT_GT(light.second - light.first, metrics.horizontalAdvance(QStringLiteral("web ")));
    QTest::keyClick(&menu, Qt::Key_Return);
    EXPECT_EQ(chosen, QList<StatusMenuItem::Action>{StatusMenuItem::Action::projectSelected});
}

TEST_F(StatusMenuStyleTest, ItemImagesAreTheShippedSymbols)
{
    const QIcon icon = menu.actions().at(0)->icon();
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.name(), QStringLiteral("eye"));
    EXPECT_TRUE(project()->icon().isNull());

    StatusMenuItem custom;
    custom.title = QStringLiteral("https://staging.example.com");
    custom.imageName = QStringLiteral("link");
    custom.imageDescription = QStringLiteral("Custom URL");
    QAction action;
    StatusMenuRenderer::apply(&action, custom);
    EXPECT_EQ(action.icon().name(), QStringLiteral("link"));
    EXPECT_EQ(action.iconText(), QStringLiteral("Custom URL"));
    // Drawn in the text colour of the palette, like the menu's text.
    const QImage drawn = action.icon().pixmap(QSize(16, 16)).toImage();
    const QImage symbol =
        SymbolImage::pixmap(QStringLiteral("link"), 16,
                            QGuiApplication::palette().color(QPalette::WindowText))
            .toImage();
    EXPECT_EQ(drawn.convertToFormat(QImage::Format_ARGB32),
              symbol.convertToFormat(QImage::Format_ARGB32));
}

TEST(StatusMenuLookTest, MenuWithProjectsCanBeLookedAt)
{
    // Set WISP_TEST_SCREENSHOTS to a folder to keep the picture.
    QMenu menu;
    QList<StatusMenuItem> items;
    StatusMenuItem find;
    find.title = QStringLiteral("Find localhost:5173");
    find.action = StatusMenuItem::Action::mainActionClicked;
    find.imageName = QStringLiteral("eye");
    items.append(find);
    items.append(StatusMenuItem::separator());
    items.append(StatusMenuModel::createProjectMenuItem(
        QStringLiteral("web"), 5173, StatusMenuItem::Action::projectSelected, true));
    items.append(StatusMenuModel::createProjectMenuItem(
        QStringLiteral("api-gateway"), 8080, StatusMenuItem::Action::projectSelected, false));
    StatusMenuRenderer::populate(&menu, items, nullptr);
    menu.popup(QPoint(50, 50));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return menu.isVisible(); }));
    QTest::keyClick(&menu, Qt::Key_Down);
    QTest::keyClick(&menu, Qt::Key_Down);
    const QImage image = menu.grab().toImage();
    EXPECT_FALSE(image.isNull());
    const QString keep = qEnvironmentVariable("WISP_TEST_SCREENSHOTS");
    if (!keep.isEmpty()) {
        image.save(keep + QStringLiteral("/status-menu.png"));
    }
}
