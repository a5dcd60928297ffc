#include "App/AuxiliaryWindows.h"
#include "Managers/ProjectManager.h"
#include "Views/OnboardingView.h"
#include "Views/SettingsPopover.h"

#include "fakes/FakeServerManager.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

namespace {

// The folder dialog the application opened, once it is on screen.
QFileDialog* openFolderDialog()
{
    QFileDialog* found = nullptr;
    TestSupport::waitUntil([&] {
        const QList<QWidget*> windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            auto* dialog = qobject_cast<QFileDialog*>(window);
            if (!dialog) {
                dialog = window->findChild<QFileDialog*>();
            }
            if (dialog && dialog->isVisible()) {
                found = dialog;
                return true;
            }
        }
        return false;
    });
    return found;
}

QPushButton* buttonWithText(const QWidget* parent, const QString& text)
{
    const QList<QPushButton*> buttons = parent->findChildren<QPushButton*>();
    for (QPushButton* button : buttons) {
        if (button->text() == text && button->isVisible()) {
            return button;
        }
    }
    return nullptr;
}

bool showsText(const QWidget* parent, const QString& text)
{
    const QList<QLabel*> labels = parent->findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(), [&](const QLabel* label) {
        return label->isVisible() && label->text() == text;
    });
}

// A click that goes through the window system's path, where a popup would take it.
void clickThroughWindow(QWidget* widget)
{
    QWidget* window = widget->window();
    ASSERT_NE(window->windowHandle(), nullptr);
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                      widget->mapTo(window, widget->rect().center()));
}

// Points the dialog at `folder` and confirms with its "Select" button.
void selectFolder(QFileDialog* dialog, const QString& folder)
{
    dialog->setDirectory(folder);
    QPushButton* select = nullptr;
    ASSERT_TRUE(TestSupport::waitUntil([&] {
        select = buttonWithText(dialog, QStringLiteral("Select"));
        return select && select->isEnabled();
    }));
    clickThroughWindow(select);
}

class RealFolderDialogTest : public ::testing::Test
{
protected:
    RealFolderDialogTest()
    {
        TestSupport::writeFile(projects.path(), QStringLiteral("site/package.json"),
                               R"({"scripts": {"dev": "vite"}})");
    }

    ~RealFolderDialogTest() override
    {
        // Dialogs left open by a failed expectation go with the test.
        const QList<QWidget*> windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            if (qobject_cast<QFileDialog*>(window)) {
                delete window;
            }
        }
    }

    QTemporaryDir projects;
    TestSettings settings;
    ProjectManager projectManager;
    FakeServerManager serverManager;
    // No folder chooser: the views open Qt's own dialog.
    AuxiliaryWindows windows{settings.get(), &projectManager, &serverManager, nullptr, nullptr};
};

} // namespace

TEST_F(RealFolderDialogTest, OnboardingTakesTheFolderAcceptedInTheDialog)
{
    windows.showOnboarding();
    auto* view = windows.onboardingWindow->findChild<OnboardingView*>();
    ASSERT_NE(view, nullptr);
    view->continueButton()->click();
    QTest::mouseClick(view->chooseButton(), Qt::LeftButton);

    QFileDialog* dialog = openFolderDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Select Projects Folder"));
    EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
    EXPECT_TRUE(dialog->testOption(QFileDialog::ReadOnly));
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(dialog->isModal());
    // No "Create New Folder" button.
    const auto* newFolder = dialog->findChild<QToolButton*>(QStringLiteral("newFolderButton"));
    ASSERT_NE(newFolder, nullptr);
    EXPECT_EQ(newFolder->toolTip(), QStringLiteral("Create New Folder"));
    EXPECT_FALSE(newFolder->isVisible());
    EXPECT_FALSE(settings->projectsFolderURL().has_value());

    const QPointer<QFileDialog> guard(dialog);
    selectFolder(dialog, projects.path());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return view->countLabel()->isVisible(); }));
    EXPECT_EQ(view->countLabel()->text(), QStringLiteral("Found: 1 projects"));
    EXPECT_EQ(view->folderField()->text(), projects.path());
    EXPECT_EQ(projectManager.projects().size(), 1);
    // The dialog goes away once it is answered.
    EXPECT_TRUE(TestSupport::waitUntil([&] { return !guard || !guard->isVisible(); }));

    QTest::mouseClick(view->continueButton(), Qt::LeftButton);
    ASSERT_TRUE(settings->projectsFolderURL().has_value());
    EXPECT_EQ(settings->projectsFolderURL()->toLocalFile(), projects.path());
}

TEST_F(RealFolderDialogTest, CancellingTheDialogChangesNothing)
{
    windows.showOnboarding();
    auto* view = windows.onboardingWindow->findChild<OnboardingView*>();
    view->continueButton()->click();
    view->chooseButton()->click();
    QFileDialog* dialog = openFolderDialog();
    ASSERT_NE(dialog, nullptr);
    dialog->setDirectory(projects.path());
    dialog->reject();
    EXPECT_FALSE(view->selectedFolderURL.has_value());
    EXPECT_FALSE(view->continueButton()->isEnabled());
    EXPECT_TRUE(projectManager.projects().isEmpty());
}

TEST_F(RealFolderDialogTest, SettingsPopoverStaysOpenWhileItsDialogIsUpAndShowsTheNewCount)
{
    windows.showSettings();
    SettingsPopover* popover = windows.settingsPopover;
    ASSERT_NE(popover, nullptr);
    ASSERT_TRUE(popover->isVisible());
    QWidget* content = popover->content();
    QPushButton* browse = buttonWithText(popover, QStringLiteral("Browse..."));
    ASSERT_NE(browse, nullptr);
    clickThroughWindow(browse);

    QFileDialog* dialog = openFolderDialog();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Select Projects Folder"));
    EXPECT_TRUE(popover->isVisible());
    EXPECT_EQ(popover->heldOpenFor(), dialog);
    EXPECT_NE(popover->windowType(), Qt::Popup);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);

    // The click into the dialog reaches it and leaves the panel open.
    selectFolder(dialog, projects.path());
    ASSERT_TRUE(
        TestSupport::waitUntil([&] { return showsText(popover, QStringLiteral("1 found")); }));
    ASSERT_TRUE(settings->projectsFolderURL().has_value());
    EXPECT_EQ(settings->projectsFolderURL()->toLocalFile(), projects.path());
    EXPECT_TRUE(popover->isVisible());
    EXPECT_EQ(popover->content(), content);
    // Once the dialog is gone the panel is a transient popup again.
    ASSERT_TRUE(TestSupport::waitUntil([&] { return popover->windowType() == Qt::Popup; }));
    EXPECT_TRUE(popover->isVisible());
    EXPECT_EQ(popover->heldOpenFor(), nullptr);
}
