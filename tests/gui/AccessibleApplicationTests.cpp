#include "App/AccessibleApplication.h"

#include "Views/SettingsPopover.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

// The application's accessible interface lists the settings popover among its windows while it
// is shown (Qt leaves popups out), as a window named "Settings". That its opening reaches a
// screen reader is seen end to end, where an accessibility bus exists.
namespace {

class AccessibleApplicationTest : public ::testing::Test
{
protected:
    void SetUp() override { AccessibleApplication::install(); }

    void TearDown() override { popover.reset(); }

    void showPopover()
    {
        popover = std::make_unique<SettingsPopover>();
        auto* content = new QWidget();
        auto* layout = new QVBoxLayout(content);
        layout->addWidget(new QLabel(QStringLiteral("Behavior"), content));
        popover->setContent(content);
        popover->showRelativeTo(QRect(200, 0, 20, 20));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(popover.get()));
    }

    std::unique_ptr<SettingsPopover> popover;
};

} // namespace

TEST_F(AccessibleApplicationTest, ShownPopoverIsOneOfTheApplicationsWindows)
{
    QAccessibleInterface* application = QAccessible::queryAccessibleInterface(qApp);
    ASSERT_NE(application, nullptr);
    ASSERT_NE(dynamic_cast<AccessibleApplication*>(application), nullptr);
    ASSERT_NO_FATAL_FAILURE(showPopover());

    QAccessibleInterface* window = QAccessible::queryAccessibleInterface(popover.get());
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->role(), QAccessible::Window);
    EXPECT_EQ(window->text(QAccessible::Name), QStringLiteral("Settings"));
    EXPECT_EQ(window->parent(), application);
    const int index = application->indexOfChild(window);
    ASSERT_GE(index, 0);
    EXPECT_EQ(application->child(index), window);
    EXPECT_TRUE(AccessibleApplication::windows().contains(popover.get()));

    // Hidden, it leaves the application's windows again.
    popover->hide();
    EXPECT_FALSE(AccessibleApplication::windows().contains(popover.get()));
    EXPECT_EQ(application->indexOfChild(window), -1);
}

TEST_F(AccessibleApplicationTest, ShownPopoverIsTheActiveWindowThatItsAnnouncementNames)
{
    // Its opening is announced as a change of this state (the bridge to the screen reader says
    // "activate" or "deactivate" from it); a popup is active while shown, whichever window the
    // desktop calls active.
    ASSERT_NO_FATAL_FAILURE(showPopover());
    QAccessibleInterface* window = QAccessible::queryAccessibleInterface(popover.get());
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->state().active);

    popover->hide();
    EXPECT_FALSE(window->state().active);
}
