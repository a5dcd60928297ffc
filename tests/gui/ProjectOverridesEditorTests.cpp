#include "Views/ProjectOverridesEditor.h"

#include "Managers/ProjectOverrides.h"
#include "support/KeyPresses.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QAction>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

namespace {

// The editor over a real project folder, re-shown the way the settings view re-shows it: with
// the overrides applied to what the scan found.
class ProjectOverridesEditorTest : public ::testing::Test
{
protected:
    ProjectOverridesEditorTest()
    {
        TestSupport::writeFile(dir.path(), QStringLiteral("package.json"),
                               R"({"scripts":{"dev":"vite","storybook":"storybook dev"}})");
        TestSupport::writeFile(dir.path(), QStringLiteral("yarn.lock"), "lock");
        scanned = TestProjects::make(QStringLiteral("site"), 5173, dir.path());
        scanned.customCommand.reset();
        scanned.detectedPort = 5173;
        scanned.portSource = PortSource::viteConfig;
        QObject::connect(&overrides, &ProjectOverrides::changed, &editor,
                         [this] { editor.setProject(overrides.applied(scanned)); });
        editor.setProject(overrides.applied(scanned));
        editor.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&editor));
    }

    QTemporaryDir dir;
    TestSettings settings;
    ProjectOverrides overrides{settings.get()};
    Project scanned;
    ProjectOverridesEditor editor{&overrides};
};

} // namespace

TEST_F(ProjectOverridesEditorTest, ShowsTheEffectiveValuesAndWhereTheyComeFrom)
{
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("npm run dev"));
    EXPECT_EQ(editor.commandSourceLabel()->text(), QStringLiteral("Default for Node.js"));
    EXPECT_EQ(editor.portField()->value(), 5173);
    EXPECT_EQ(editor.portSourceLabel()->text(), QStringLiteral("Detected from vite.config"));
    EXPECT_FALSE(editor.commandResetButton()->isVisible());
    EXPECT_FALSE(editor.portResetButton()->isVisible());
    EXPECT_EQ(editor.portField()->minimum(), 1);
    EXPECT_EQ(editor.portField()->maximum(), 65535);

    editor.setProject(std::nullopt);
    EXPECT_FALSE(editor.isVisible());
}

TEST_F(ProjectOverridesEditorTest, EveryPortSourceHasItsOwnCaption)
{
    QStringList captions;
    for (const auto source :
         {PortSource::env, PortSource::packageJson, PortSource::viteConfig, PortSource::vueConfig,
          PortSource::angularJson, PortSource::nuxtConfig, PortSource::manual,
          PortSource::defaultValue}) {
        scanned.portSource = source;
        editor.setProject(scanned);
        captions.append(editor.portSourceLabel()->text());
    }
    scanned.portSource.reset();
    editor.setProject(scanned);
    captions.append(editor.portSourceLabel()->text());
    EXPECT_EQ(
        captions,
        (QStringList{QStringLiteral("Detected from .env"),
                     QStringLiteral("Detected from package.json scripts"),
                     QStringLiteral("Detected from vite.config"),
                     QStringLiteral("Detected from vue.config.js"),
                     QStringLiteral("Detected from angular.json"),
                     QStringLiteral("Detected from nuxt.config"), QStringLiteral("Set by you"),
                     QStringLiteral("Framework default"), QStringLiteral("Default port")}));
}

TEST_F(ProjectOverridesEditorTest, CaptionsNameTheFrameworkTheCommandAndPortComeFrom)
{
    scanned.framework = QStringLiteral("astro");
    scanned.frameworkCommand = QStringLiteral("pnpm run dev");
    scanned.port = 4321;
    scanned.detectedPort = 4321;
    scanned.portSource = PortSource::framework;
    editor.setProject(overrides.applied(scanned));
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("pnpm run dev"));
    EXPECT_EQ(editor.commandSourceLabel()->text(), QStringLiteral("Default for Astro"));
    EXPECT_EQ(editor.portSourceLabel()->text(), QStringLiteral("Default for Astro"));

    scanned.portSource = PortSource::entryFile;
    editor.setProject(overrides.applied(scanned));
    EXPECT_EQ(editor.portSourceLabel()->text(), QStringLiteral("Detected from the server's code"));

    // Typing the framework's own command again removes the override.
    overrides.setCommand(scanned.folderPath(), QStringLiteral("pnpm astro dev --host"));
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("pnpm astro dev --host"));
    KeyPresses::retype(editor.commandField(), QStringLiteral("pnpm run dev"));
    EXPECT_EQ(overrides.command(scanned.folderPath()), std::nullopt);
    EXPECT_EQ(editor.commandSourceLabel()->text(), QStringLiteral("Default for Astro"));
}

TEST_F(ProjectOverridesEditorTest, TypingAPortStoresItWhenEditingFinishesAndResetRemovesIt)
{
    KeyPresses::retype(editor.portField(), QStringLiteral("4321"));

    EXPECT_EQ(overrides.port(dir.path()), 4321);
    EXPECT_EQ(settings->projectPorts(),
              QJsonDocument(QJsonObject{{dir.path(), 4321}}).toJson(QJsonDocument::Compact));
    EXPECT_EQ(editor.portField()->value(), 4321);
    EXPECT_EQ(editor.portSourceLabel()->text(), QStringLiteral("Set by you"));
    EXPECT_TRUE(editor.portResetButton()->isVisible());
    EXPECT_EQ(editor.portResetButton()->text(), QStringLiteral("Reset"));

    QTest::mouseClick(editor.portResetButton(), Qt::LeftButton);
    EXPECT_EQ(overrides.port(dir.path()), std::nullopt);
    EXPECT_FALSE(settings->projectPorts().has_value());
    EXPECT_EQ(editor.portField()->value(), 5173);
    EXPECT_EQ(editor.portSourceLabel()->text(), QStringLiteral("Detected from vite.config"));
    EXPECT_FALSE(editor.portResetButton()->isVisible());
}

TEST_F(ProjectOverridesEditorTest, TheSamePortAgainStoresNothing)
{
    KeyPresses::retype(editor.portField(), QStringLiteral("5173"));
    EXPECT_FALSE(settings->projectPorts().has_value());
}

TEST_F(ProjectOverridesEditorTest, TypingACommandStoresItAndResetReturnsToTheDefault)
{
    KeyPresses::retype(editor.commandField(), QStringLiteral("yarn storybook"));

    EXPECT_EQ(overrides.command(dir.path()), QStringLiteral("yarn storybook"));
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("yarn storybook"));
    EXPECT_EQ(editor.commandSourceLabel()->text(), QStringLiteral("Set by you"));
    EXPECT_TRUE(editor.commandResetButton()->isVisible());

    QTest::mouseClick(editor.commandResetButton(), Qt::LeftButton);
    EXPECT_EQ(overrides.command(dir.path()), std::nullopt);
    EXPECT_FALSE(settings->projectCommands().has_value());
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("npm run dev"));
    EXPECT_EQ(editor.commandSourceLabel()->text(), QStringLiteral("Default for Node.js"));
    EXPECT_FALSE(editor.commandResetButton()->isVisible());
}

TEST_F(ProjectOverridesEditorTest, AnEmptiedCommandOrTheDefaultOneMeansNoOverride)
{
    overrides.setCommand(dir.path(), QStringLiteral("yarn dev"));
    KeyPresses::retype(editor.commandField(), QString());
    EXPECT_EQ(overrides.command(dir.path()), std::nullopt);
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("npm run dev"));

    overrides.setCommand(dir.path(), QStringLiteral("yarn dev"));
    KeyPresses::retype(editor.commandField(), QStringLiteral("npm run dev"));
    EXPECT_EQ(overrides.command(dir.path()), std::nullopt);
    EXPECT_FALSE(settings->projectCommands().has_value());
}

TEST_F(ProjectOverridesEditorTest, TextBeingTypedSurvivesAChangeFromElsewhere)
{
    editor.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&editor));
    editor.commandField()->setFocus();
    editor.commandField()->selectAll();
    QTest::keyClicks(editor.commandField(), QStringLiteral("yarn st"));
    overrides.setPort(dir.path(), 4000);
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("yarn st"));
    EXPECT_EQ(editor.commandField()->cursorPosition(), 7);
    EXPECT_EQ(editor.portField()->value(), 4000);

    editor.portField()->setFocus();
    editor.portField()->selectAll();
    QTest::keyClicks(editor.portField(), QStringLiteral("81"));
    overrides.setCommand(dir.path(), QStringLiteral("yarn storybook"));
    EXPECT_EQ(editor.portField()->cleanText(), QStringLiteral("81"));
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("yarn storybook"));
    QTest::keyClick(editor.portField(), Qt::Key_Return);
    EXPECT_EQ(overrides.port(dir.path()), 81);
}

TEST_F(ProjectOverridesEditorTest, SuggestionsAreOfferedAndAppliedOnlyWhenChosen)
{
    QStringList offered;
    for (const QAction* action : editor.suggestionsMenu()->actions()) {
        offered.append(action->text());
    }
    EXPECT_EQ(offered, (QStringList{QStringLiteral("yarn dev"), QStringLiteral("yarn storybook")}));
    EXPECT_TRUE(editor.suggestionsButton()->isEnabled());
    // Offering them stored nothing.
    EXPECT_FALSE(settings->projectCommands().has_value());
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("npm run dev"));

    editor.suggestionsMenu()->actions().at(1)->trigger();
    EXPECT_EQ(overrides.command(dir.path()), QStringLiteral("yarn storybook"));
    EXPECT_EQ(editor.commandField()->text(), QStringLiteral("yarn storybook"));
}

TEST_F(ProjectOverridesEditorTest, AProjectWithoutSuggestionsDisablesTheButton)
{
    QTemporaryDir empty;
    scanned = TestProjects::make(QStringLiteral("bare"), 8080, empty.path());
    scanned.type = ProjectType::static_;
    scanned.customCommand.reset();
    editor.setProject(scanned);
    EXPECT_TRUE(editor.suggestionsMenu()->isEmpty());
    EXPECT_FALSE(editor.suggestionsButton()->isEnabled());
    EXPECT_EQ(editor.commandSourceLabel()->text(), QStringLiteral("Default for Static"));
}

TEST(ProjectOverridesEditorWithoutStore, FieldsAreReadOnly)
{
    ProjectOverridesEditor editor(nullptr);
    editor.setProject(TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web")));
    EXPECT_TRUE(editor.commandField()->isReadOnly());
    EXPECT_TRUE(editor.portField()->isReadOnly());
}
