#include "App/AuxiliaryWindows.h"

#include "Views/OnboardingView.h"
#include "Views/SettingsPopover.h"
#include "Views/SettingsView.h"
#include "fakes/FakeFolderChooser.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace {

class AuxiliaryWindowsTest : public ::testing::Test
{
protected:
    AuxiliaryWindowsTest()
    {
        windows.folderChooser = chooser;
        windows.statusItemGeometry = [this] {
            return iconGeometry;
        };
    }

    OnboardingView* onboardingView() const
    {
        return windows.onboardingWindow ? windows.onboardingWindow->findChild<OnboardingView*>()
                                        : nullptr;
    }

    TestSettings settings;
    FakeProjectManager projectManager;
    FakeServerManager serverManager;
    std::shared_ptr<FakeFolderChooser> chooser = std::make_shared<FakeFolderChooser>();
    AuxiliaryWindows windows{settings.get(), &projectManager, &serverManager, nullptr, nullptr};
    QRect iconGeometry{600, 0, 22, 24};
    QTemporaryDir folder;
    LogCapture log;
};

} // namespace

TEST_F(AuxiliaryWindowsTest, OpeningTheSettingsTwiceReusesTheSamePopover)
{
    EXPECT_EQ(windows.settingsPopover, nullptr);
    windows.showSettings();
    SettingsPopover* first = windows.settingsPopover;
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isVisible());
    EXPECT_TRUE(first->windowFlags().testFlag(Qt::Popup));
    EXPECT_TRUE(first->windowFlags().testFlag(Qt::FramelessWindowHint));
    EXPECT_NE(qobject_cast<SettingsView*>(first->content()), nullptr);

    first->hide();
    windows.showSettings();
    EXPECT_EQ(windows.settingsPopover, first);
    EXPECT_TRUE(first->isVisible());
    EXPECT_NE(qobject_cast<SettingsView*>(first->content()), nullptr);
    // One view at a time: the old content goes away.
    ASSERT_TRUE(
        TestSupport::waitUntil([&] { return first->findChildren<SettingsView*>().size() == 1; }));
}

TEST_F(AuxiliaryWindowsTest, PopoverHangsBelowTheStatusItem)
{
    windows.showSettings();
    SettingsPopover* popover = windows.settingsPopover;
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint expected = SettingsPopover::position(iconGeometry, popover->size(), available);
    EXPECT_EQ(popover->pos(), expected);
    EXPECT_EQ(expected.y(), iconGeometry.bottom() + 1);
    EXPECT_EQ(expected.x(), iconGeometry.center().x() - popover->width() / 2);
}

TEST(SettingsPopoverPositionTest, KeepsThePanelOnTheScreen)
{
    const QRect screen(0, 0, 1000, 800);
    const QSize size(300, 200);
    EXPECT_EQ(SettingsPopover::position(QRect(400, 0, 20, 20), size, screen), QPoint(259, 20));
    // Pushed in from the right edge.
    EXPECT_EQ(SettingsPopover::position(QRect(990, 0, 10, 20), size, screen), QPoint(700, 20));
    // A tray at the bottom: above the icon.
    EXPECT_EQ(SettingsPopover::position(QRect(400, 780, 20, 20), size, screen), QPoint(259, 580));
}

TEST_F(AuxiliaryWindowsTest, OnboardingWindowIsTitledClosableFixedAndCentred)
{
    windows.showOnboarding();
    QWidget* window = windows.onboardingWindow;
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->windowTitle(), QStringLiteral("wisp"));
    EXPECT_EQ(window->size(), QSize(450, 400));
    EXPECT_EQ(window->minimumSize(), QSize(450, 400));
    EXPECT_EQ(window->maximumSize(), QSize(450, 400));
    const Qt::WindowFlags flags = window->windowFlags();
    EXPECT_TRUE(flags.testFlag(Qt::WindowTitleHint));
    EXPECT_TRUE(flags.testFlag(Qt::WindowCloseButtonHint));
    EXPECT_FALSE(flags.testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_FALSE(flags.testFlag(Qt::WindowMaximizeButtonHint));
    const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
    // The window with its frame sits in the middle of the screen.
    EXPECT_LE((window->frameGeometry().center() - available.center()).manhattanLength(), 2);
    // Brought to the front as the active window.
    EXPECT_TRUE(QTest::qWaitForWindowActive(window));
    ASSERT_NE(onboardingView(), nullptr);
    EXPECT_EQ(onboardingView()->currentStep, 0);
    EXPECT_EQ(onboardingView()->totalSteps, 4);
}

TEST_F(AuxiliaryWindowsTest, FinishingOnboardingWithNoProjectSelectedPollsPort3000)
{
    chooser->answer = QUrl::fromLocalFile(folder.path());
    projectManager.scanResult = QList<Project>{};
    windows.showOnboarding();
    OnboardingView* view = onboardingView();
    ASSERT_NE(view, nullptr);

    view->continueButton()->click();
    EXPECT_FALSE(view->continueButton()->isEnabled());
    view->chooseButton()->click();
    EXPECT_EQ(chooser->asked, 1);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !projectManager.scannedFolders.isEmpty(); }));
    EXPECT_EQ(view->folderField()->text(), folder.path());
    EXPECT_TRUE(view->continueButton()->isEnabled());
    view->continueButton()->click();
    view->continueButton()->click();
    ASSERT_EQ(view->currentStep, 3);

    view->finishButton()->click();
    EXPECT_TRUE(settings->hasCompletedOnboarding());
    ASSERT_TRUE(settings->projectsFolderURL().has_value());
    EXPECT_EQ(settings->projectsFolderURL()->toLocalFile(), folder.path());
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("startPolling(3000)")});
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral(
                  "🚀 [AppDelegate] Onboarding complete - starting polling on port 3000")});
    EXPECT_EQ(windows.onboardingWindow, nullptr);
}

TEST_F(AuxiliaryWindowsTest, FinishingOnboardingWithAProjectSelectedPollsItsPort)
{
    const Project web = TestProjects::make(QStringLiteral("web"), 5173, QStringLiteral("/p/web"));
    chooser->answer = QUrl::fromLocalFile(folder.path());
    projectManager.scanResult = QList<Project>{web};
    windows.showOnboarding();
    OnboardingView* view = onboardingView();
    view->continueButton()->click();
    view->selectFolder();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return view->countLabel()->isVisibleTo(view); }));
    EXPECT_EQ(view->countLabel()->text(), QStringLiteral("Found: 1 projects"));
    projectManager.setSelectedProject(web);
    view->finish();
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("startPolling(5173)")});
    EXPECT_TRUE(log.contains(
        QStringLiteral("🚀 [AppDelegate] Onboarding complete - starting polling on port 5173")));
}

TEST_F(AuxiliaryWindowsTest, CancelledFolderChoiceChangesNothing)
{
    windows.showOnboarding();
    OnboardingView* view = onboardingView();
    view->continueButton()->click();
    view->selectFolder();
    EXPECT_EQ(chooser->asked, 1);
    EXPECT_FALSE(view->selectedFolderURL.has_value());
    EXPECT_TRUE(view->folderField()->text().isEmpty());
    EXPECT_EQ(view->folderField()->placeholderText(), QStringLiteral("Select folder..."));
    EXPECT_FALSE(view->countLabel()->isVisibleTo(view));
    EXPECT_FALSE(view->continueButton()->isEnabled());
    EXPECT_TRUE(projectManager.scannedFolders.isEmpty());
    EXPECT_FALSE(settings->hasCompletedOnboarding());
}

TEST_F(AuxiliaryWindowsTest, SettingsViewStoresTheChosenFolderAndShowsTheCount)
{
    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    const Project api = TestProjects::make(QStringLiteral("api"), 4000, QStringLiteral("/p/api"));
    chooser->answer = QUrl::fromLocalFile(folder.path());
    projectManager.scanResult = QList<Project>{web, api};
    windows.showSettings();
    auto* view = qobject_cast<SettingsView*>(windows.settingsPopover->content());
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->folderLabel()->text(), QStringLiteral("Not set"));
    EXPECT_EQ(view->countLabel()->text(), QStringLiteral("0 found"));

    view->browseButton()->click();
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] { return view->countLabel()->text() == QStringLiteral("2 found"); }));
    EXPECT_EQ(view->folderLabel()->text(), folder.path());
    EXPECT_EQ(settings->projectsFolderURL()->toLocalFile(), folder.path());
    EXPECT_TRUE(windows.settingsPopover->isVisible());
}
