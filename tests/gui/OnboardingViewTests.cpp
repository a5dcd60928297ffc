#include "Views/OnboardingView.h"

#include "HotKey/HotKeysController.h"
#include "HotKey/KeyCombo.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Utilities/Theme.h"
#include "Views/OnboardingShortcutRecorder.h"
#include "Views/PermissionRow.h"
#include "Views/RegistrationLine.h"

#include "fakes/FakeFolderChooser.h"
#include "fakes/FakeHotKeyBackend.h"
#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

namespace {

// Every text a page shows, in order, from its labels and buttons.
QStringList texts(const QWidget* page)
{
    QStringList found;
    const QList<QWidget*> widgets = page->findChildren<QWidget*>();
    for (const QWidget* widget : widgets) {
        if (!widget->isVisibleTo(page)) {
            continue;
        }
        if (const auto* label = qobject_cast<const QLabel*>(widget);
            label && !label->text().isEmpty()) {
            found.append(label->text());
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
            found.append(button->text());
        }
    }
    return found;
}

// The image of the page's label with that accessible name.
QImage imageNamed(const QWidget* page, const QString& name)
{
    const QList<QLabel*> labels = page->findChildren<QLabel*>();
    for (const QLabel* label : labels) {
        if (label->accessibleName() == name) {
            return label->pixmap().toImage();
        }
    }
    return {};
}

// Whether a visible pixel of `image` has the colour `colour`.
bool hasPixelOf(const QImage& image, const QColor& colour)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.alpha() == 255 && pixel.rgb() == colour.rgb()) {
                return true;
            }
        }
    }
    return false;
}

void click(QWidget* widget)
{
    ASSERT_TRUE(widget->isVisible()) << widget->objectName().toStdString();
    QTest::mouseClick(widget, Qt::LeftButton, Qt::NoModifier, widget->rect().center());
}

class OnboardingViewTest : public ::testing::Test
{
protected:
    OnboardingViewTest()
    {
        folderChooser->answer = QUrl::fromLocalFile(folder.path());
        view.resize(450, 400);
        view.show();
    }

    void goToStep(int step)
    {
        while (view.currentStep < step) {
            if (view.currentStep == 1 && !view.selectedFolderURL) {
                click(view.chooseButton());
            }
            click(view.continueButton());
        }
        ASSERT_EQ(view.currentStep, step);
    }

    QTemporaryDir folder;
    TestSettings settings;
    FakeProjectManager projectManager;
    FakeHotKeyBackend* hotKeys = FakeHotKeyBackend::install();
    std::shared_ptr<FakePermissionProbes> probes = std::make_shared<FakePermissionProbes>();
    std::shared_ptr<FakeSystemSettingsOpener> opener = std::make_shared<FakeSystemSettingsOpener>();
    PermissionsManager permissions{probes, opener};
    HotKeyManager hotKeyManager{settings.get()};
    std::shared_ptr<FakeFolderChooser> folderChooser = std::make_shared<FakeFolderChooser>();
    int completions = 0;
    OnboardingView view{
        settings.get(), &permissions, &projectManager, &hotKeyManager, [this] { ++completions; },
        folderChooser};
};

} // namespace

TEST_F(OnboardingViewTest, StartsOnTheWelcomeStepWithFourDots)
{
    EXPECT_EQ(view.currentStep, 0);
    EXPECT_EQ(view.totalSteps, 4);
    EXPECT_FALSE(view.selectedFolderURL.has_value());
    EXPECT_FALSE(view.isRecordingShortcut);
    EXPECT_EQ(
        texts(view.currentPage()),
        (QStringList{QStringLiteral("Wisp"), QStringLiteral("Stop searching. Start finding.")}));
    const QImage icon = imageNamed(view.currentPage(), QStringLiteral("AppIcon"));
    ASSERT_FALSE(icon.isNull());
    EXPECT_GE(icon.width(), 64);
    EXPECT_EQ(icon.pixelColor(icon.width() / 2, icon.height() / 8).alpha(), 255);
    EXPECT_EQ(view.stepDots().size(), 4);
    EXPECT_FALSE(view.backButton()->isVisible());
    EXPECT_TRUE(view.continueButton()->isVisible());
    EXPECT_TRUE(view.continueButton()->isEnabled());
    EXPECT_FALSE(view.finishButton()->isVisible());
}

TEST_F(OnboardingViewTest, StepsMoveOneAtATimeWithContinueAndBack)
{
    click(view.continueButton());
    EXPECT_EQ(view.currentStep, 1);
    EXPECT_TRUE(view.backButton()->isVisible());
    EXPECT_EQ(view.backButton()->text(), QStringLiteral("Back"));
    EXPECT_TRUE(view.backButton()->isFlat());

    click(view.chooseButton());
    click(view.continueButton());
    EXPECT_EQ(view.currentStep, 2);
    click(view.continueButton());
    EXPECT_EQ(view.currentStep, 3);
    EXPECT_FALSE(view.continueButton()->isVisible());
    EXPECT_TRUE(view.finishButton()->isVisible());
    EXPECT_EQ(view.finishButton()->text(), QStringLiteral("Finish"));

    click(view.backButton());
    EXPECT_EQ(view.currentStep, 2);
    click(view.backButton());
    EXPECT_EQ(view.currentStep, 1);
    click(view.backButton());
    EXPECT_EQ(view.currentStep, 0);
    EXPECT_FALSE(view.backButton()->isVisible());
    EXPECT_EQ(completions, 0);
}

TEST_F(OnboardingViewTest, StepDotsShowTheCurrentStepInTheAccentColour)
{
    QColor faded = Theme::secondary();
    faded.setAlphaF(faded.alphaF() * 0.3);
    for (int step = 0; step < 4; ++step) {
        goToStep(step);
        for (int dot = 0; dot < 4; ++dot) {
            SCOPED_TRACE(testing::Message() << "step " << step << ", dot " << dot);
            const QImage image = view.stepDots().at(dot)->pixmap().toImage();
            const QColor centre = image.pixelColor(image.width() / 2, image.height() / 2);
            const QColor expected = dot == step ? Theme::accent() : faded;
            EXPECT_EQ(centre.rgb(), expected.rgb());
            EXPECT_NEAR(centre.alpha(), expected.alpha(), 1);
        }
    }
}

TEST_F(OnboardingViewTest, FolderStepShowsItsTextsAndNoCountWhileTheListIsEmpty)
{
    goToStep(1);
    EXPECT_EQ(
        texts(view.currentPage()),
        (QStringList{QStringLiteral("Where are your projects?"),
                     QStringLiteral("Select the folder containing your\ndevelopment projects."),
                     QStringLiteral("Choose...")}));
    EXPECT_TRUE(
        hasPixelOf(imageNamed(view.currentPage(), QStringLiteral("folder.fill")), Theme::accent()));
    EXPECT_TRUE(view.folderField()->isReadOnly());
    EXPECT_TRUE(view.folderField()->text().isEmpty());
    EXPECT_EQ(view.folderField()->placeholderText(), QStringLiteral("Select folder..."));
    EXPECT_FALSE(view.countLabel()->isVisible());

    // A scan that finds nothing still shows no count line.
    projectManager.scanResult = QList<Project>{};
    click(view.chooseButton());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !projectManager.scannedFolders.isEmpty(); }));
    EXPECT_EQ(view.folderField()->text(), folder.path());
    EXPECT_FALSE(view.countLabel()->isVisible());
}

TEST_F(OnboardingViewTest, ChosenFolderIsScannedAndTheCountAppears)
{
    goToStep(1);
    projectManager.scanResult =
        QList<Project>{TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web")),
                       TestProjects::make(QStringLiteral("api"), 4000, QStringLiteral("/p/api"))};
    click(view.chooseButton());
    EXPECT_EQ(folderChooser->asked, 1);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return view.countLabel()->isVisible(); }));
    EXPECT_EQ(view.countLabel()->text(), QStringLiteral("Found: 2 projects"));
    EXPECT_EQ(projectManager.scannedFolders, QList<QUrl>{QUrl::fromLocalFile(folder.path())});
    // Choosing is not storing: that waits for "Continue".
    EXPECT_FALSE(settings->projectsFolderURL().has_value());
}

TEST_F(OnboardingViewTest, ContinueOnTheFolderStepIsDisabledUntilAFolderIsChosen)
{
    goToStep(1);
    EXPECT_FALSE(view.continueButton()->isEnabled());
    QTest::mouseClick(view.continueButton(), Qt::LeftButton);
    EXPECT_EQ(view.currentStep, 1);

    // A cancelled choice changes nothing.
    folderChooser->answer.reset();
    click(view.chooseButton());
    EXPECT_FALSE(view.continueButton()->isEnabled());

    folderChooser->answer = QUrl::fromLocalFile(folder.path());
    click(view.chooseButton());
    EXPECT_TRUE(view.continueButton()->isEnabled());
}

TEST_F(OnboardingViewTest, BackFromTheFolderStepStoresNothing)
{
    goToStep(1);
    click(view.chooseButton());
    click(view.backButton());
    EXPECT_EQ(view.currentStep, 0);
    EXPECT_FALSE(settings->projectsFolderURL().has_value());
    EXPECT_FALSE(settings->hasCompletedOnboarding());
    EXPECT_EQ(settings->hotKeyCodeInt(), 0);
    settings->store().sync();
    EXPECT_EQ(settings->store().allKeys(), QStringList{});
}

TEST_F(OnboardingViewTest, ContinueOnTheFolderStepStoresAndScansTheFolder)
{
    goToStep(1);
    click(view.chooseButton());
    projectManager.scannedFolders.clear();
    click(view.continueButton());
    EXPECT_EQ(view.currentStep, 2);
    ASSERT_TRUE(settings->projectsFolderURL().has_value());
    EXPECT_EQ(settings->projectsFolderURL()->toLocalFile(), folder.path());
    EXPECT_EQ(projectManager.scannedFolders, QList<QUrl>{QUrl::fromLocalFile(folder.path())});
    EXPECT_FALSE(settings->hasCompletedOnboarding());
}

TEST_F(OnboardingViewTest, DefaultShortcutIsWrittenOnceWhenTheShortcutStepAppears)
{
    goToStep(1);
    EXPECT_EQ(settings->hotKeyCodeInt(), 0);
    EXPECT_TRUE(hotKeys->attempts.isEmpty());

    goToStep(2);
    EXPECT_EQ(settings->hotKeyCode(), 37u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1800u);
    ASSERT_EQ(hotKeys->attempts.size(), 1);
    EXPECT_EQ(hotKeys->live.size(), 1);
    EXPECT_EQ(view.shortcutRecorder()->displayText(), hotKeyManager.hotkeyDisplayString());
    EXPECT_NE(hotKeyManager.hotkeyDisplayString(), QStringLiteral("Not set"));

    // Coming back to the step leaves the stored shortcut and its registration alone.
    click(view.continueButton());
    click(view.backButton());
    EXPECT_EQ(view.currentStep, 2);
    EXPECT_EQ(hotKeys->attempts.size(), 1);
}

TEST_F(OnboardingViewTest, StoredShortcutIsLeftAloneOnTheShortcutStep)
{
    settings->setHotKeyCode(40);
    settings->setHotKeyModifiers(0x100);
    hotKeyManager.registerHotKey();
    const int attempts = static_cast<int>(hotKeys->attempts.size());

    goToStep(2);
    EXPECT_EQ(settings->hotKeyCode(), 40u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x100u);
    EXPECT_EQ(hotKeys->attempts.size(), attempts);
    EXPECT_EQ(view.shortcutRecorder()->displayText(), hotKeyManager.hotkeyDisplayString());
}

TEST_F(OnboardingViewTest, ShortcutStepShowsItsTextsAndTheRecorder)
{
    goToStep(2);
    EXPECT_EQ(texts(view.currentPage()),
              (QStringList{QStringLiteral("Quick access shortcut"),
                           QStringLiteral("Press %1 anywhere to find\nyour localhost instantly.")
                               .arg(ShortcutText::platformStyle() == ShortcutText::Style::words
                                        ? QStringLiteral("Ctrl+Alt+L")
                                        : QStringLiteral("⌃⌥L")),
                           hotKeyManager.hotkeyDisplayString(),
                           QStringLiteral("You can change this anytime in Settings")}));
    EXPECT_EQ(view.shortcutRecorder()->accessibleName(), QStringLiteral("Shortcut"));
    // A screen reader hears what the control shows.
    EXPECT_EQ(view.shortcutRecorder()->accessibleDescription(),
              hotKeyManager.hotkeyDisplayString());
    EXPECT_FALSE(imageNamed(view.currentPage(), QStringLiteral("keyboard")).isNull());

    click(view.shortcutRecorder());
    EXPECT_TRUE(view.shortcutRecorder()->isRecording());
    EXPECT_EQ(view.shortcutRecorder()->accessibleDescription(), QStringLiteral("Press keys..."));
    EXPECT_TRUE(view.isRecordingShortcut);
    click(view.backButton());
    EXPECT_FALSE(view.isRecordingShortcut);
}

TEST_F(OnboardingViewTest, RecordedShortcutIsStoredAndRegistered)
{
    goToStep(2);
    const qsizetype attempts = hotKeys->attempts.size();
    const QString defaultText = view.shortcutRecorder()->displayText();
    click(view.shortcutRecorder());
    ASSERT_TRUE(view.isRecordingShortcut);
    // K with Control and Shift, pressed for real.
    QTest::keyClick(view.shortcutRecorder(), Qt::Key_K,
                    (ModifierFlags::control | ModifierFlags::shift).toQt());
    EXPECT_EQ(settings->hotKeyCode(), 40u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1200u);
    ASSERT_EQ(hotKeys->attempts.size(), attempts + 1);
    EXPECT_EQ(hotKeys->attempts.last().keyCombo, KeyCombo(40, 0x1200));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !view.isRecordingShortcut; }));
    EXPECT_EQ(view.shortcutRecorder()->displayText(), hotKeyManager.hotkeyDisplayString());
    EXPECT_NE(view.shortcutRecorder()->displayText(), defaultText);
}

TEST_F(OnboardingViewTest, TakenDefaultShortcutIsExplainedAndAnotherOneIsRegistered)
{
    hotKeys->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::taken}};
    goToStep(2);
    ASSERT_EQ(hotKeyManager.registration(), std::optional(HotKeyRegistration::taken));
    const QString defaultShortcut = OnboardingView::defaultShortcutText();
    const QString problem =
        defaultShortcut + QStringLiteral(" is taken by another app. Choose another shortcut.");
    // The shortcut is not shown as if it worked; one line under the control says why.
    EXPECT_EQ(view.shortcutRecorder()->displayText(), QStringLiteral("Click to set"));
    EXPECT_TRUE(view.shortcutProblemLabel()->isVisible());
    EXPECT_EQ(view.shortcutProblemLabel()->text(), problem);
    EXPECT_EQ(texts(view.currentPage()),
              (QStringList{QStringLiteral("Quick access shortcut"),
                           QStringLiteral("Press %1 anywhere to find\nyour localhost instantly.")
                               .arg(defaultShortcut),
                           QStringLiteral("Click to set"), problem,
                           QStringLiteral("You can change this anytime in Settings")}));
    // The stored keys stay as written.
    EXPECT_EQ(settings->hotKeyCode(), 37u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1800u);

    click(view.shortcutRecorder());
    QTest::keyClick(view.shortcutRecorder(), Qt::Key_K,
                    (ModifierFlags::control | ModifierFlags::shift).toQt());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !view.isRecordingShortcut; }));
    EXPECT_TRUE(hotKeyManager.isRegistered());
    ASSERT_EQ(hotKeys->live.size(), 1);
    EXPECT_EQ(hotKeys->live.first().keyCombo, KeyCombo(40, 0x1200));
    EXPECT_EQ(view.shortcutRecorder()->displayText(), hotKeyManager.hotkeyDisplayString());
    EXPECT_FALSE(view.shortcutProblemLabel()->isVisible());
}

TEST_F(OnboardingViewTest, RecordingACombinationThatCannotBeHadSaysSoAtOnce)
{
    hotKeys->refusedCombos = {{KeyCombo(40, 0x1200), HotKeyRegistration::unavailable}};
    goToStep(2);
    ASSERT_TRUE(hotKeyManager.isRegistered());
    click(view.shortcutRecorder());
    QTest::keyClick(view.shortcutRecorder(), Qt::Key_K,
                    (ModifierFlags::control | ModifierFlags::shift).toQt());
    // Stored as recorded, and explained before recording has even ended.
    EXPECT_EQ(settings->hotKeyCode(), 40u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1200u);
    EXPECT_EQ(hotKeyManager.registration(), std::optional(HotKeyRegistration::unavailable));
    EXPECT_EQ(view.shortcutRecorder()->displayText(), QStringLiteral("Click to set"));
    EXPECT_EQ(view.shortcutProblemLabel()->text(),
              ShortcutText::build(0x1200, QStringLiteral("K")) +
                  QStringLiteral(" is not available here. Choose another shortcut."));
    EXPECT_TRUE(view.shortcutProblemLabel()->isVisible());
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !view.isRecordingShortcut; }));
}

TEST_F(OnboardingViewTest, ShortcutLostLaterIsExplainedAsSoonAsItIsLost)
{
    goToStep(2);
    ASSERT_TRUE(hotKeyManager.isRegistered());
    EXPECT_FALSE(view.shortcutProblemLabel()->isVisible());
    std::uint32_t id = 0;
    for (const auto& [candidate, box] : HotKeysController::hotKeys) {
        if (box.identifier == hotKeyManager.hotKey->identifier) {
            id = candidate;
        }
    }
    // As after a keyboard layout without the key.
    HotKeysController::reportRegistration(id, HotKeyRegistration::unavailable);
    EXPECT_EQ(view.shortcutRecorder()->displayText(), QStringLiteral("Click to set"));
    EXPECT_EQ(view.shortcutProblemLabel()->text(),
              OnboardingView::defaultShortcutText() +
                  QStringLiteral(" is not available here. Choose another shortcut."));
    EXPECT_TRUE(view.shortcutProblemLabel()->isVisible());
}

TEST_F(OnboardingViewTest, PermissionsStepShowsBothRowsWithTheirTexts)
{
    goToStep(3);
    PermissionRow* automation = view.automationRow();
    PermissionRow* accessibility = view.accessibilityRow();
    EXPECT_EQ(automation->title, QStringLiteral("Automation"));
    EXPECT_EQ(automation->description,
              QStringLiteral("Control browsers to open incognito windows"));
    EXPECT_FALSE(automation->isOptional);
    EXPECT_EQ(accessibility->title, QStringLiteral("Accessibility"));
    EXPECT_EQ(accessibility->description,
              QStringLiteral("Enable global keyboard shortcut (optional)"));
    EXPECT_TRUE(accessibility->isOptional);
    EXPECT_FALSE(imageNamed(view.currentPage(), QStringLiteral("lock.shield.fill")).isNull());
    EXPECT_EQ(texts(view.currentPage()),
              (QStringList{QStringLiteral("Permissions needed"), QStringLiteral("Automation"),
                           QStringLiteral("Control browsers to open incognito windows"),
                           QStringLiteral("Grant →"), QStringLiteral("Accessibility"),
                           QStringLiteral("(optional)"),
                           QStringLiteral("Enable global keyboard shortcut (optional)"),
                           QStringLiteral("Grant →")}));
}

TEST_F(OnboardingViewTest, PermissionRowsFollowTheMonitorLive)
{
    goToStep(3);
    EXPECT_EQ(view.automationRow()->statusSymbol(), QStringLiteral("circle"));
    EXPECT_TRUE(view.automationRow()->grantButton()->isVisible());
    EXPECT_TRUE(view.accessibilityRow()->grantButton()->isVisible());

    // The monitor polls every second; the row changes on the tick that sees the grant.
    probes->accessibilityGranted = true;
    ASSERT_TRUE(TestSupport::waitUntil([&] { return view.accessibilityRow()->isGranted; }));
    EXPECT_EQ(view.accessibilityRow()->statusSymbol(), QStringLiteral("checkmark.circle.fill"));
    EXPECT_FALSE(view.accessibilityRow()->grantButton()->isVisible());
    EXPECT_FALSE(view.automationRow()->isGranted);
    EXPECT_TRUE(view.automationRow()->grantButton()->isVisible());

    probes->automationGranted = true;
    ASSERT_TRUE(TestSupport::waitUntil([&] { return view.automationRow()->isGranted; }));
    EXPECT_FALSE(view.automationRow()->grantButton()->isVisible());
}

TEST_F(OnboardingViewTest, GrantButtonsCallTheRequests)
{
    goToStep(3);
    click(view.automationRow()->grantButton());
    EXPECT_EQ(probes->automationTriggers, 1);
    EXPECT_TRUE(opener->opened.isEmpty());

    click(view.accessibilityRow()->grantButton());
    EXPECT_EQ(
        opener->opened,
        QStringList{QStringLiteral(
            "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility")});
    EXPECT_EQ(probes->automationTriggers, 1);
}

TEST_F(OnboardingViewTest, FinishRecordsOnboardingAndCallsBack)
{
    goToStep(3);
    EXPECT_FALSE(settings->hasCompletedOnboarding());
    click(view.finishButton());
    EXPECT_TRUE(settings->hasCompletedOnboarding());
    EXPECT_EQ(completions, 1);
}

TEST_F(OnboardingViewTest, EveryStepCanBeLookedAt)
{
    // Set WISP_TEST_SCREENSHOTS to a folder to keep the pictures.
    const QString keep = qEnvironmentVariable("WISP_TEST_SCREENSHOTS");
    projectManager.scanResult =
        QList<Project>{TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"))};
    for (int step = 0; step < 4; ++step) {
        goToStep(step);
        if (step == 1) {
            click(view.chooseButton());
            ASSERT_TRUE(TestSupport::waitUntil([&] { return view.countLabel()->isVisible(); }));
        }
        const QImage image = view.grab().toImage();
        EXPECT_EQ(image.size(), view.size() * image.devicePixelRatio());
        // Every visible widget of the page lies inside the view.
        const QList<QWidget*> widgets = view.currentPage()->findChildren<QWidget*>();
        for (const QWidget* widget : widgets) {
            if (widget->isVisible()) {
                const QRect inView(widget->mapTo(&view, QPoint(0, 0)), widget->size());
                EXPECT_TRUE(view.rect().contains(inView))
                    << step << ": " << widget->metaObject()->className();
            }
        }
        if (!keep.isEmpty()) {
            image.save(QDir(keep).filePath(QStringLiteral("onboarding-step-%1.png").arg(step)));
        }
    }
}

TEST_F(OnboardingViewTest, ShortcutTheDesktopHasNotAnsweredForIsShownAsWaitingNotAsAFailure)
{
    hotKeys->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::waiting}};
    goToStep(2);
    ASSERT_EQ(hotKeyManager.registration(), std::optional(HotKeyRegistration::waiting));
    // The shortcut is shown, with one line saying that the desktop is still asked about it.
    EXPECT_EQ(view.shortcutRecorder()->displayText(), hotKeyManager.hotkeyDisplayString());
    EXPECT_TRUE(view.shortcutProblemLabel()->isVisible());
    EXPECT_EQ(view.shortcutProblemLabel()->text(),
              QStringLiteral("Waiting for the desktop to allow ") +
                  hotKeyManager.hotkeyDisplayString());
    EXPECT_FALSE(view.shortcutRegistrationLine()->markLabel()->isVisible());
    EXPECT_FALSE(view.shortcutProblemLabel()->text().contains(QStringLiteral("not available")));

    std::uint32_t id = 0;
    for (const auto& [candidate, box] : HotKeysController::hotKeys) {
        if (box.identifier == hotKeyManager.hotKey->identifier) {
            id = candidate;
        }
    }
    HotKeysController::reportRegistration(id, HotKeyRegistration::registered);
    EXPECT_FALSE(view.shortcutProblemLabel()->isVisible());
    EXPECT_EQ(view.shortcutRecorder()->displayText(), hotKeyManager.hotkeyDisplayString());
}
