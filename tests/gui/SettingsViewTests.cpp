#include "Views/SettingsView.h"

#include "HotKey/HotKeysController.h"
#include "HotKey/ModifierFlags.h"
#include "HotKey/ShortcutText.h"
#include "Managers/HotKeyManager.h"
#include "Managers/PermissionsManager.h"
#include "Managers/ProjectManager.h"
#include "Utilities/Theme.h"
#include "Views/ProjectOverridesEditor.h"
#include "Views/RegistrationLine.h"
#include "Views/SettingsPopover.h"
#include "Views/ShortcutRecorderView.h"
#include "Views/SymbolImage.h"
#include "fakes/FakeFolderChooser.h"
#include "fakes/FakeHotKeyBackend.h"
#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeProjectManager.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QApplication>
#include <QButtonGroup>
#include <QFrame>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStyleOptionButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <memory>

using TestSupport::waitUntil;

namespace {

class SettingsViewTest : public ::testing::Test
{
protected:
    SettingsView* makeView(ProjectManaging* projects = nullptr)
    {
        view = std::make_unique<SettingsView>(settings.get(), projects ? projects : &projectManager,
                                              &serverManager, permissions.get(), chooser);
        view->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        return view.get();
    }

    // Waits until the monitor has published what its probes say now.
    bool permissionsPublished()
    {
        return waitUntil([&] {
            return permissions->hasAccessibilityPermission() == probes->accessibilityGranted &&
                   permissions->hasAutomationPermission() == probes->automationGranted;
        });
    }

    // A real click on the radio button's indicator (its middle may lie past the label).
    static void clickRadio(QAbstractButton* radio)
    {
        QStyleOptionButton option;
        option.initFrom(radio);
        const QRect indicator =
            radio->style()->subElementRect(QStyle::SE_RadioButtonIndicator, &option, radio);
        QTest::mouseClick(radio, Qt::LeftButton, Qt::NoModifier, indicator.center());
    }

    static QStringList buttonTexts(const QButtonGroup* group)
    {
        QStringList texts;
        for (const QAbstractButton* button : group->buttons()) {
            texts.append(button->text());
        }
        return texts;
    }

    // The colour in the middle of the status dot as drawn.
    QColor dotColor() const
    {
        const QImage image = view->statusDot()->pixmap().toImage();
        return image.pixelColor(image.width() / 2, image.height() / 2);
    }

    TestSettings settings;
    FakeProjectManager projectManager;
    FakeServerManager serverManager;
    std::shared_ptr<FakePermissionProbes> probes = std::make_shared<FakePermissionProbes>();
    std::shared_ptr<FakeSystemSettingsOpener> opener = std::make_shared<FakeSystemSettingsOpener>();
    std::unique_ptr<PermissionsManager> permissions =
        std::make_unique<PermissionsManager>(probes, opener);
    std::shared_ptr<FakeFolderChooser> chooser = std::make_shared<FakeFolderChooser>();
    std::unique_ptr<SettingsView> view;
};

} // namespace

TEST_F(SettingsViewTest, SevenPaddedSectionsInOrderSeparatedByDividers)
{
    makeView();
    const QList<QWidget*> sections = view->sections();
    ASSERT_EQ(sections.size(), 7);

    QStringList titles;
    for (QWidget* section : sections.mid(0, 6)) {
        auto* title = qobject_cast<QLabel*>(section->layout()->itemAt(0)->widget());
        ASSERT_NE(title, nullptr);
        titles.append(title->text());
        // Caption size, in the secondary colour.
        EXPECT_LT(title->font().pointSizeF(), view->font().pointSizeF());
        EXPECT_EQ(title->foregroundRole(), QPalette::PlaceholderText);
    }
    EXPECT_EQ(titles, (QStringList{QStringLiteral("Current Project"), QStringLiteral("Projects"),
                                   QStringLiteral("Behavior"), QStringLiteral("Browser"),
                                   QStringLiteral("Shortcut"), QStringLiteral("Custom URL")}));
    // The status row has no title: it starts with the dot.
    EXPECT_EQ(sections.at(6)->layout()->itemAt(0)->widget(), nullptr);
    EXPECT_TRUE(sections.at(6)->isAncestorOf(view->statusDot()));

    for (QWidget* section : sections) {
        EXPECT_EQ(section->layout()->contentsMargins(), QMargins(16, 16, 16, 16));
    }
    // Section, divider, section, ... from top to bottom.
    QLayout* outer = view->layout();
    ASSERT_EQ(outer->count(), 13);
    for (int index = 0; index < outer->count(); ++index) {
        QWidget* widget = outer->itemAt(index)->widget();
        if (index % 2 == 0) {
            EXPECT_EQ(widget, sections.at(index / 2)) << "item " << index;
        } else {
            auto* line = qobject_cast<QFrame*>(widget);
            ASSERT_NE(line, nullptr) << "item " << index;
            EXPECT_EQ(line->frameShape(), QFrame::HLine);
        }
    }
    for (int index = 1; index < sections.size(); ++index) {
        EXPECT_GT(sections.at(index)->y(), sections.at(index - 1)->y());
    }
}

TEST_F(SettingsViewTest, CurrentProjectShowsNameTypeInParenthesesAndPort)
{
    Project web = TestProjects::make(QStringLiteral("web"), 5173, QStringLiteral("/p/web"));
    web.type = ProjectType::rust;
    projectManager.setSelectedProject(web);
    makeView();
    EXPECT_EQ(view->projectLabel()->text(), QStringLiteral("web"));
    EXPECT_GT(view->projectLabel()->font().weight(), QFont::Normal);
    EXPECT_EQ(view->projectTypeLabel()->text(), QStringLiteral("(Rust)"));
    EXPECT_EQ(view->projectPortLabel()->text(), QStringLiteral(":5173"));
    EXPECT_TRUE(view->projectTypeLabel()->isVisible());
    EXPECT_TRUE(view->projectPortLabel()->isVisible());
    EXPECT_LT(view->projectTypeLabel()->font().pointSizeF(), view->font().pointSizeF());
    // Beside the name, in that order.
    EXPECT_GT(view->projectTypeLabel()->x(), view->projectLabel()->x());
    EXPECT_GT(view->projectPortLabel()->x(), view->projectTypeLabel()->x());

    // Follows a new selection while open.
    const Project api = TestProjects::make(QStringLiteral("api"), 8080, QStringLiteral("/p/api"));
    projectManager.setSelectedProject(api);
    EXPECT_EQ(view->projectLabel()->text(), QStringLiteral("api"));
    EXPECT_EQ(view->projectTypeLabel()->text(), QStringLiteral("(Node.js)"));
    EXPECT_EQ(view->projectPortLabel()->text(), QStringLiteral(":8080"));

    // A project's framework is named beside its kind.
    Project site = TestProjects::make(QStringLiteral("site"), 4321, QStringLiteral("/p/site"));
    site.framework = QStringLiteral("astro");
    projectManager.setSelectedProject(site);
    EXPECT_EQ(view->projectTypeLabel()->text(), QStringLiteral("(Node.js, Astro)"));
}

TEST_F(SettingsViewTest, NoSelectedProjectSaysSoWithoutTypeOrPort)
{
    makeView();
    EXPECT_EQ(view->projectLabel()->text(), QStringLiteral("No project selected"));
    EXPECT_EQ(view->projectLabel()->foregroundRole(), QPalette::PlaceholderText);
    EXPECT_FALSE(view->projectTypeLabel()->isVisible());
    EXPECT_FALSE(view->projectPortLabel()->isVisible());

    projectManager.setSelectedProject(
        TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web")));
    EXPECT_TRUE(view->projectPortLabel()->isVisible());
    projectManager.setSelectedProject(std::nullopt);
    EXPECT_EQ(view->projectLabel()->text(), QStringLiteral("No project selected"));
    EXPECT_FALSE(view->projectPortLabel()->isVisible());
}

TEST_F(SettingsViewTest, TheCurrentProjectSectionHoldsTheCommandAndPortUnderTheName)
{
    projectManager.setSelectedProject(
        TestProjects::make(QStringLiteral("web"), 5173, QStringLiteral("/p/web")));
    makeView();
    ProjectOverridesEditor* editor = view->overridesEditor();
    ASSERT_NE(editor, nullptr);
    EXPECT_TRUE(view->sections().at(0)->isAncestorOf(editor));
    EXPECT_TRUE(editor->isVisible());
    EXPECT_GT(editor->y(), view->projectLabel()->y());
    EXPECT_EQ(editor->commandField()->text(), QStringLiteral("npm run dev"));
    EXPECT_EQ(editor->portField()->value(), 5173);
    // Nothing to write the overrides to: shown, not editable.
    EXPECT_TRUE(editor->commandField()->isReadOnly());
    EXPECT_TRUE(editor->portField()->isReadOnly());
    // Still fits the panel.
    EXPECT_LE(view->sections().at(0)->sizeHint().width(), view->width());

    projectManager.setSelectedProject(
        TestProjects::make(QStringLiteral("api"), 8080, QStringLiteral("/p/api")));
    EXPECT_EQ(editor->portField()->value(), 8080);
    projectManager.setSelectedProject(std::nullopt);
    EXPECT_FALSE(editor->isVisible());
}

TEST_F(SettingsViewTest, ProjectsShowsTheCountAndTheFolderOrNotSet)
{
    makeView();
    EXPECT_EQ(view->countLabel()->text(), QStringLiteral("0 found"));
    EXPECT_EQ(view->folderLabel()->text(), QStringLiteral("Not set"));
    EXPECT_EQ(view->browseButton()->text(), QStringLiteral("Browse..."));
    EXPECT_FALSE(view->browseButton()->isFlat());
    EXPECT_TRUE(QFontInfo(view->folderLabel()->font()).fixedPitch());

    QTemporaryDir folder;
    settings->setProjectsFolder(QUrl::fromLocalFile(folder.path()));
    EXPECT_EQ(view->folderLabel()->text(), folder.path());
    projectManager.setProjects(
        {TestProjects::make(QStringLiteral("a"), 3000, QStringLiteral("/p/a")),
         TestProjects::make(QStringLiteral("b"), 3001, QStringLiteral("/p/b")),
         TestProjects::make(QStringLiteral("c"), 3002, QStringLiteral("/p/c"))});
    EXPECT_EQ(view->countLabel()->text(), QStringLiteral("3 found"));
}

TEST_F(SettingsViewTest, ChoosingAFolderUpdatesTheCountOnceTheScanEndsWithoutClosing)
{
    QTemporaryDir folder;
    TestSupport::writeFile(folder.path(), QStringLiteral("web/package.json"),
                           R"({"scripts": {"dev": "vite"}})");
    TestSupport::writeFile(folder.path(), QStringLiteral("api/go.mod"), "module api\n");
    ProjectManager realProjects;
    chooser->answer = QUrl::fromLocalFile(folder.path());

    SettingsPopover popover;
    auto* content =
        new SettingsView(settings.get(), &realProjects, &serverManager, permissions.get(), chooser);
    popover.setContent(content);
    popover.showRelativeTo(QRect(300, 0, 22, 22));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&popover));
    QSignalSpy projectsChanged(&realProjects, &ProjectManaging::projectsChanged);

    QTest::mouseClick(content->browseButton(), Qt::LeftButton);
    EXPECT_EQ(chooser->asked, 1);
    // Stored at once; the walk runs on a worker thread and publishes later.
    EXPECT_EQ(settings->projectsFolderURL()->toLocalFile(), folder.path());
    EXPECT_EQ(content->folderLabel()->text(), folder.path());
    ASSERT_TRUE(waitUntil([&] { return projectsChanged.count() == 1; }));
    EXPECT_EQ(content->countLabel()->text(), QStringLiteral("2 found"));
    EXPECT_TRUE(popover.isVisible());
    EXPECT_EQ(popover.content(), content);
    // The scan's selection reaches the first section too.
    ASSERT_TRUE(waitUntil([&] { return realProjects.selectedProject().has_value(); }));
    EXPECT_EQ(content->projectLabel()->text(), realProjects.selectedProject()->name);
}

TEST_F(SettingsViewTest, CancelledFolderChoiceChangesNothing)
{
    makeView();
    QTest::mouseClick(view->browseButton(), Qt::LeftButton);
    EXPECT_EQ(chooser->asked, 1);
    EXPECT_FALSE(settings->projectsFolderBookmark().has_value());
    EXPECT_TRUE(projectManager.scannedFolders.isEmpty());
    EXPECT_EQ(view->folderLabel()->text(), QStringLiteral("Not set"));
}

TEST_F(SettingsViewTest, BehaviorRadioGroupWritesTheStoreAtOnce)
{
    makeView();
    EXPECT_EQ(buttonTexts(view->behaviorGroup()),
              (QStringList{QStringLiteral("New window"), QStringLiteral("Bring to front"),
                           QStringLiteral("Find existing")}));
    EXPECT_TRUE(view->behaviorGroup()->exclusive());
    // The default is shown.
    EXPECT_TRUE(view->behaviorGroup()->button(BehaviorMode::findURLWindow)->isChecked());

    for (const BehaviorMode mode :
         {BehaviorMode(BehaviorMode::alwaysNewWindow), BehaviorMode(BehaviorMode::bringToFront),
          BehaviorMode(BehaviorMode::findURLWindow)}) {
        clickRadio(view->behaviorGroup()->button(mode));
        EXPECT_EQ(settings->behaviorMode(), mode) << mode.rawValue().toStdString();
        EXPECT_EQ(settings->store().value(QStringLiteral("behaviorMode")).toString(),
                  mode.rawValue());
    }
}

TEST_F(SettingsViewTest, BehaviorRadioGroupFollowsTheStore)
{
    settings->setBehaviorMode(BehaviorMode::bringToFront);
    makeView();
    EXPECT_TRUE(view->behaviorGroup()->button(BehaviorMode::bringToFront)->isChecked());
    QSignalSpy changed(settings.get(), &SettingsManager::changed);
    settings->setBehaviorMode(BehaviorMode::alwaysNewWindow);
    EXPECT_TRUE(view->behaviorGroup()->button(BehaviorMode::alwaysNewWindow)->isChecked());
    EXPECT_FALSE(view->behaviorGroup()->button(BehaviorMode::bringToFront)->isChecked());
    // Showing the stored value writes nothing back.
    EXPECT_EQ(changed.count(), 1);
}

TEST_F(SettingsViewTest, BehaviorRadioGroupAnswersTheArrowKeys)
{
    makeView();
    QAbstractButton* findExisting = view->behaviorGroup()->button(BehaviorMode::findURLWindow);
    findExisting->setFocus();
    ASSERT_TRUE(waitUntil([&] { return findExisting->hasFocus(); }));
    QTest::keyClick(findExisting, Qt::Key_Up);
    EXPECT_EQ(settings->behaviorMode(), BehaviorMode::bringToFront);
    EXPECT_TRUE(view->behaviorGroup()->button(BehaviorMode::bringToFront)->isChecked());
}

TEST_F(SettingsViewTest, BrowserRadioGroupWritesTheStoreAtOnce)
{
    makeView();
    EXPECT_EQ(buttonTexts(view->browserGroup()),
              (QStringList{QStringLiteral("Auto"), QStringLiteral("Chrome"),
                           QStringLiteral("Firefox"), QStringLiteral("Edge")}));
    EXPECT_TRUE(view->browserGroup()->button(Browser::auto_)->isChecked());

    for (const Browser browser : {Browser(Browser::edge), Browser(Browser::firefox),
                                  Browser(Browser::chrome), Browser(Browser::auto_)}) {
        clickRadio(view->browserGroup()->button(browser));
        EXPECT_EQ(settings->preferredBrowser(), browser) << browser.rawValue().toStdString();
        EXPECT_EQ(settings->store().value(QStringLiteral("preferredBrowser")).toString(),
                  browser.rawValue());
    }
    // Behaviour and browser are separate groups.
    EXPECT_TRUE(view->behaviorGroup()->button(BehaviorMode::findURLWindow)->isChecked());
}

TEST_F(SettingsViewTest, BrowserRadioGroupFollowsTheStore)
{
    makeView();
    settings->setPreferredBrowser(Browser::firefox);
    EXPECT_TRUE(view->browserGroup()->button(Browser::firefox)->isChecked());
    EXPECT_FALSE(view->browserGroup()->button(Browser::auto_)->isChecked());
}

TEST_F(SettingsViewTest, TypingACustomURLWritesEveryEdit)
{
    makeView();
    QLineEdit* field = view->customURLField();
    EXPECT_EQ(field->placeholderText(), QStringLiteral("https://staging.example.com"));
    EXPECT_TRUE(QFontInfo(field->font()).fixedPitch());
    EXPECT_TRUE(field->hasFrame());

    QStringList written;
    QObject::connect(settings.get(), &SettingsManager::changed, [&](const QString& key) {
        if (key == QLatin1String("customURL")) {
            written.append(settings->customURL());
        }
    });
    field->setFocus();
    QTest::keyClicks(field, QStringLiteral("a.io"));
    EXPECT_EQ(written, (QStringList{QStringLiteral("a"), QStringLiteral("a."),
                                    QStringLiteral("a.i"), QStringLiteral("a.io")}));
    EXPECT_EQ(settings->customURL(), QStringLiteral("a.io"));
    QTest::keyClick(field, Qt::Key_Backspace);
    EXPECT_EQ(settings->customURL(), QStringLiteral("a.i"));
    EXPECT_EQ(field->text(), QStringLiteral("a.i"));
    // Typing leaves the cursor where it was.
    EXPECT_EQ(field->cursorPosition(), 3);
}

TEST_F(SettingsViewTest, CustomURLFieldFollowsTheStore)
{
    settings->setCustomURL(QStringLiteral("https://staging.example.org"));
    makeView();
    EXPECT_EQ(view->customURLField()->text(), QStringLiteral("https://staging.example.org"));
    settings->setCustomURL(QStringLiteral("https://other.example.org"));
    EXPECT_EQ(view->customURLField()->text(), QStringLiteral("https://other.example.org"));
}

TEST_F(SettingsViewTest, ClearButtonShowsOnlyWhileTheFieldHasText)
{
    makeView();
    QToolButton* clear = view->clearButton();
    EXPECT_FALSE(clear->isVisible());
    EXPECT_TRUE(clear->autoRaise());
    EXPECT_EQ(clear->icon().pixmap(16).toImage(),
              SymbolImage::icon(QStringLiteral("xmark.circle.fill")).pixmap(16).toImage());

    view->customURLField()->setFocus();
    QTest::keyClicks(view->customURLField(), QStringLiteral("x"));
    EXPECT_TRUE(clear->isVisible());
    QTest::keyClick(view->customURLField(), Qt::Key_Backspace);
    EXPECT_FALSE(clear->isVisible());
    EXPECT_TRUE(settings->customURL().isEmpty());
}

TEST_F(SettingsViewTest, ClearButtonEmptiesTheCustomURLAndHidesItself)
{
    settings->setCustomURL(QStringLiteral("https://staging.example.com"));
    makeView();
    QToolButton* clear = view->clearButton();
    ASSERT_TRUE(clear->isVisible());
    // After the field.
    EXPECT_GT(clear->mapTo(view.get(), QPoint()).x(),
              view->customURLField()->mapTo(view.get(), QPoint()).x());

    QTest::mouseClick(clear, Qt::LeftButton);
    EXPECT_EQ(settings->customURL(), QString());
    EXPECT_TRUE(settings->store().contains(QStringLiteral("customURL")));
    EXPECT_EQ(view->customURLField()->text(), QString());
    EXPECT_FALSE(clear->isVisible());
}

TEST_F(SettingsViewTest, ShortcutRecorderShowsTheStoredShortcut)
{
    makeView();
    ShortcutRecorderView* recorder = view->shortcutRecorder();
    ASSERT_TRUE(view->sections().at(4)->isAncestorOf(recorder));
    EXPECT_EQ(recorder->label(), QStringLiteral("Click to set"));

    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    EXPECT_EQ(recorder->keyCode(), 37u);
    EXPECT_EQ(recorder->modifiers(), 0x1800u);
    EXPECT_EQ(recorder->label(), ShortcutRecorderView::displayString(37, 0x1800));
    // The warning row sits below the recorder.
    EXPECT_GT(view->accessibilityWarning()->y(), recorder->y());
}

TEST_F(SettingsViewTest, RecordedShortcutIsStoredAtOnceButNotRegistered)
{
    FakeHotKeyBackend* backend = FakeHotKeyBackend::install();
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager hotKeyManager(settings.get());
    ASSERT_EQ(backend->live.size(), 1);
    const HotKeyBackend::Ref working = backend->live.first().ref;
    const qsizetype attempts = backend->attempts.size();

    makeView();
    view->setHotKeyManager(&hotKeyManager);
    ShortcutRecorderView* recorder = view->shortcutRecorder();
    EXPECT_EQ(recorder->label(), ShortcutRecorderView::displayString(37, 0x1800));
    QTest::mouseClick(recorder, Qt::LeftButton);
    ASSERT_TRUE(recorder->isRecording());

    // A plain key is swallowed; recording goes on and nothing is stored.
    QLineEdit* field = view->customURLField();
    field->setFocus();
    QTest::keyClick(field, Qt::Key_K);
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_EQ(settings->hotKeyCode(), 37u);
    EXPECT_TRUE(field->text().isEmpty());

    QTest::keyClick(field, Qt::Key_K, ModifierFlags(ModifierFlags::control).toQt());
    EXPECT_FALSE(recorder->isRecording());
    // K is Carbon key code 40; Control alone is 0x1000.
    EXPECT_EQ(settings->hotKeyCode(), 40u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1000u);
    EXPECT_EQ(settings->store().value(QStringLiteral("hotKeyCode")).toLongLong(), 40);
    EXPECT_EQ(settings->store().value(QStringLiteral("hotKeyModifiers")).toLongLong(), 0x1000);
    EXPECT_EQ(recorder->label(), ShortcutRecorderView::displayString(40, 0x1000));
    // The key never reached the field.
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_TRUE(settings->customURL().isEmpty());

    // The live registration is still the old one until the next start: the new combination
    // was at most tried to tell whether it can be had, and dropped again at once.
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live.first().keyCombo, KeyCombo(37, 0x1800));
    EXPECT_EQ(backend->live.first().ref, working);
    EXPECT_FALSE(backend->unregistered.contains(working));
    EXPECT_TRUE(hotKeyManager.isRegistered());
    for (qsizetype i = attempts; i < backend->attempts.size(); ++i) {
        EXPECT_EQ(backend->attempts.at(i).keyCombo, KeyCombo(40, 0x1000));
    }
    EXPECT_TRUE(recorder->isAvailable());
    view.reset();
}

TEST_F(SettingsViewTest, ShowingTheViewChecksThePermissions)
{
    ASSERT_TRUE(permissionsPublished());
    const int accessibilityChecks = probes->accessibilityChecks;
    const int automationChecks = probes->automationChecks;
    view = std::make_unique<SettingsView>(settings.get(), &projectManager, &serverManager,
                                          permissions.get(), chooser);
    EXPECT_EQ(probes->accessibilityChecks, accessibilityChecks);
    view->show();
    EXPECT_EQ(probes->accessibilityChecks, accessibilityChecks + 1);
    EXPECT_EQ(probes->automationChecks, automationChecks + 1);
    view->hide();
    view->show();
    EXPECT_EQ(probes->accessibilityChecks, accessibilityChecks + 2);
}

TEST_F(SettingsViewTest, ShowingTheViewRestartsPollingForARevokedPermission)
{
    probes->accessibilityGranted = true;
    probes->automationGranted = true;
    ASSERT_TRUE(permissionsPublished());
    ASSERT_TRUE(waitUntil([&] { return !permissions->accessibilityTimer(); }));

    probes->accessibilityGranted = false;
    makeView();
    // The check on appearance publishes the revocation; the row comes back and polling resumes.
    ASSERT_TRUE(waitUntil([&] { return view->accessibilityWarning()->isVisible(); }));
    ASSERT_TRUE(waitUntil([&] { return permissions->accessibilityTimer() != nullptr; }));
    probes->accessibilityGranted = true;
    ASSERT_TRUE(waitUntil([&] { return !view->accessibilityWarning()->isVisible(); }));
}

TEST_F(SettingsViewTest, AccessibilityWarningShowsWhileThePermissionIsMissing)
{
    makeView();
    ASSERT_TRUE(permissionsPublished());
    QWidget* row = view->accessibilityWarning();
    EXPECT_TRUE(row->isVisible());
    QStringList texts;
    const QLabel* caption = nullptr;
    for (const QLabel* label : row->findChildren<QLabel*>()) {
        if (!label->text().isEmpty()) {
            texts.append(label->text());
            caption = label;
        }
    }
    EXPECT_EQ(texts, QStringList{QStringLiteral("Accessibility permission required")});
    ASSERT_NE(caption, nullptr);
    EXPECT_LT(caption->font().pointSizeF(), view->font().pointSizeF());
    // The warning symbol at caption size, before the text.
    const QLabel* icon = view->accessibilityWarningIcon();
    ASSERT_TRUE(row->isAncestorOf(icon));
    const int captionHeight = caption->fontMetrics().height();
    EXPECT_EQ(icon->size(), QSize(captionHeight, captionHeight));
    EXPECT_LT(icon->x(), caption->x());
    EXPECT_EQ(icon->pixmap().toImage(),
              SymbolImage::pixmap(QStringLiteral("exclamationmark.triangle.fill"), captionHeight,
                                  Theme::warning(), view->devicePixelRatioF())
                  .toImage());
    EXPECT_EQ(view->grantButton()->text(), QStringLiteral("Grant"));
    EXPECT_TRUE(view->grantButton()->isFlat());
    EXPECT_EQ(view->grantButton()->palette().color(QPalette::ButtonText),
              view->palette().color(QPalette::Link));
}

TEST_F(SettingsViewTest, GrantingAccessibilityWhileOpenRemovesTheWarningAtTheNextCheck)
{
    makeView();
    ASSERT_TRUE(permissionsPublished());
    ASSERT_TRUE(view->accessibilityWarning()->isVisible());
    ASSERT_NE(permissions->accessibilityTimer(), nullptr);
    QSignalSpy published(permissions.get(), &PermissionsManager::accessibilityPermissionChanged);

    probes->accessibilityGranted = true;
    // Nothing changes before the monitor looks again.
    EXPECT_TRUE(view->accessibilityWarning()->isVisible());
    ASSERT_TRUE(waitUntil([&] { return !view->accessibilityWarning()->isVisible(); }));
    ASSERT_GE(published.count(), 1);
    EXPECT_TRUE(published.last().at(0).toBool());
}

TEST_F(SettingsViewTest, WarningIsHiddenWhenThePermissionIsGranted)
{
    probes->accessibilityGranted = true;
    makeView();
    ASSERT_TRUE(permissionsPublished());
    EXPECT_FALSE(view->accessibilityWarning()->isVisible());
}

TEST_F(SettingsViewTest, GrantRequestsTheAccessibilityPermission)
{
    makeView();
    ASSERT_TRUE(permissionsPublished());
    QTest::mouseClick(view->grantButton(), Qt::LeftButton);
    EXPECT_EQ(
        opener->opened,
        QStringList{QStringLiteral(
            "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility")});
    EXPECT_NE(permissions->accessibilityTimer(), nullptr);
}

TEST_F(SettingsViewTest, StatusRowShowsRunningOrStoppedWithTheStateColour)
{
    makeView();
    // Before the first check.
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Stopped"));
    EXPECT_EQ(dotColor(), Theme::stopped());
    EXPECT_EQ(view->statusDot()->size(), QSize(8, 8));

    serverManager.setStatus(ServerStatus::running);
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Running"));
    EXPECT_EQ(dotColor(), Theme::running());

    // Only the dot tells a starting server from a stopped one.
    serverManager.setStatus(ServerStatus::starting);
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Stopped"));
    EXPECT_EQ(dotColor(), Theme::starting());

    serverManager.setStatus(ServerStatus::stopped);
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Stopped"));
    EXPECT_EQ(dotColor(), Theme::stopped());

    serverManager.setStatus(ServerStatus::unknown);
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Stopped"));
    EXPECT_EQ(dotColor(), Theme::stopped());
}

TEST_F(SettingsViewTest, StatusRowStartsFromTheCurrentStatus)
{
    serverManager.currentStatus = ServerStatus::running;
    makeView();
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Running"));
    EXPECT_EQ(dotColor(), Theme::running());
}

TEST_F(SettingsViewTest, WithoutManagersTheViewShowsDefaultsAndDoesNotCrash)
{
    view = std::make_unique<SettingsView>(nullptr, nullptr, nullptr, nullptr, chooser);
    view->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    EXPECT_EQ(view->projectLabel()->text(), QStringLiteral("No project selected"));
    EXPECT_EQ(view->countLabel()->text(), QStringLiteral("0 found"));
    EXPECT_FALSE(view->accessibilityWarning()->isVisible());
    clickRadio(view->browserGroup()->button(Browser::edge));
    view->customURLField()->setFocus();
    QTest::keyClicks(view->customURLField(), QStringLiteral("x"));
    EXPECT_EQ(view->statusLabel()->text(), QStringLiteral("Stopped"));
}

TEST_F(SettingsViewTest, GrantKeepsTheLinkColourAcrossAnAppearanceChange)
{
    makeView();
    const QPalette original = QApplication::palette();
    QPalette dark = original;
    dark.setColor(QPalette::Window, QColor(30, 30, 30));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Link, QColor(80, 160, 255));
    QApplication::setPalette(dark);
    const bool followed = waitUntil([&] {
        return view->grantButton()->palette().color(QPalette::ButtonText) ==
               dark.color(QPalette::Link);
    });
    QApplication::setPalette(original);
    EXPECT_TRUE(followed);
    ASSERT_TRUE(waitUntil([&] {
        return view->grantButton()->palette().color(QPalette::ButtonText) ==
               original.color(QPalette::Link);
    }));
}

TEST_F(SettingsViewTest, TakenShortcutIsExplainedAndAnotherOneRegistersAtOnce)
{
    FakeHotKeyBackend* backend = FakeHotKeyBackend::install();
    backend->refusedCombos = {{KeyCombo(37, 0x1800), HotKeyRegistration::taken}};
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager hotKeyManager(settings.get());
    ASSERT_EQ(hotKeyManager.registration(), std::optional(HotKeyRegistration::taken));

    makeView();
    view->setHotKeyManager(&hotKeyManager);
    ShortcutRecorderView* recorder = view->shortcutRecorder();
    QLabel* problem = view->shortcutProblemLabel();
    EXPECT_EQ(recorder->label(), QStringLiteral("Click to set"));
    EXPECT_FALSE(recorder->isAvailable());
    EXPECT_TRUE(problem->isVisible());
    EXPECT_EQ(problem->text(),
              ShortcutText::build(0x1800, QStringLiteral("L")) +
                  QStringLiteral(" is taken by another app. Choose another shortcut."));
    // The line sits right under the recorder.
    const QWidget* line = view->shortcutRegistrationLine();
    EXPECT_GT(line->y(), recorder->y());
    EXPECT_LT(line->y(), view->accessibilityWarning()->y());

    QTest::mouseClick(recorder, Qt::LeftButton);
    ASSERT_TRUE(recorder->isRecording());
    QLineEdit* field = view->customURLField();
    field->setFocus();
    QTest::keyClick(field, Qt::Key_K, (ModifierFlags::control | ModifierFlags::option).toQt());
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(settings->hotKeyCode(), 40u);
    EXPECT_EQ(settings->hotKeyModifiers(), 0x1800u);

    // Nothing worked before, so the new shortcut is live at once.
    EXPECT_TRUE(hotKeyManager.isRegistered());
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live.first().keyCombo, KeyCombo(40, 0x1800));
    EXPECT_TRUE(recorder->isAvailable());
    EXPECT_EQ(recorder->label(), ShortcutRecorderView::displayString(40, 0x1800));
    EXPECT_FALSE(problem->isVisible());
    view.reset();
}

TEST_F(SettingsViewTest, RecordingATakenCombinationSaysSoAtOnceAndKeepsTheWorkingShortcut)
{
    FakeHotKeyBackend* backend = FakeHotKeyBackend::install();
    backend->refusedCombos = {{KeyCombo(40, 0x1800), HotKeyRegistration::taken}};
    settings->setHotKeyCode(37);
    settings->setHotKeyModifiers(0x1800);
    HotKeyManager hotKeyManager(settings.get());
    ASSERT_TRUE(hotKeyManager.isRegistered());

    makeView();
    view->setHotKeyManager(&hotKeyManager);
    ShortcutRecorderView* recorder = view->shortcutRecorder();
    QLabel* problem = view->shortcutProblemLabel();
    EXPECT_EQ(recorder->label(), ShortcutRecorderView::displayString(37, 0x1800));
    EXPECT_FALSE(problem->isVisible());

    QLineEdit* field = view->customURLField();
    field->setFocus();
    QTest::mouseClick(recorder, Qt::LeftButton);
    QTest::keyClick(field, Qt::Key_K, (ModifierFlags::control | ModifierFlags::option).toQt());
    ASSERT_FALSE(recorder->isRecording());
    // Stored as recorded, and said at once that it cannot be had.
    EXPECT_EQ(settings->hotKeyCode(), 40u);
    EXPECT_EQ(recorder->label(), QStringLiteral("Click to set"));
    EXPECT_TRUE(problem->isVisible());
    EXPECT_EQ(problem->text(),
              ShortcutText::build(0x1800, QStringLiteral("K")) +
                  QStringLiteral(" is taken by another app. Choose another shortcut."));
    // The working shortcut stays live until the next start.
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live.first().keyCombo, KeyCombo(37, 0x1800));
    EXPECT_TRUE(hotKeyManager.isRegistered());

    QTest::mouseClick(recorder, Qt::LeftButton);
    QTest::keyClick(field, Qt::Key_J, (ModifierFlags::control | ModifierFlags::option).toQt());
    ASSERT_FALSE(recorder->isRecording());
    EXPECT_EQ(settings->hotKeyCode(), 38u);
    EXPECT_EQ(recorder->label(), ShortcutRecorderView::displayString(38, 0x1800));
    EXPECT_FALSE(problem->isVisible());
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live.first().keyCombo, KeyCombo(37, 0x1800));
    EXPECT_TRUE(field->text().isEmpty());
    view.reset();
}
