#include "App/SelectionRestorer.h"

#include "fakes/FakeProjectManager.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSettings.h"

#include <gtest/gtest.h>

namespace {

class SelectionRestorerTest : public ::testing::Test
{
protected:
    void restore(const std::optional<QString>& storedPath, const QList<Project>& projects)
    {
        settings->setSelectedProjectPath(storedPath);
        projectManager.setProjects(projects);
        SelectionRestorer::restoreSelectedProject(*settings.get(), projectManager);
    }

    QStringList migrationLines() const
    {
        return log.linesStartingWith(QStringLiteral("📦 [Migration]"));
    }

    TestSettings settings;
    FakeProjectManager projectManager;
    LogCapture log;

    const Project api = TestProjects::make(QStringLiteral("api"), 4000, QStringLiteral("/p/api"));
    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
};

} // namespace

TEST_F(SelectionRestorerTest, NoStoredPathSelectsTheFirstProject)
{
    restore(std::nullopt, {api, web});
    EXPECT_EQ(projectManager.selectedProject(), api);
    EXPECT_TRUE(migrationLines().isEmpty());
}

TEST_F(SelectionRestorerTest, NoStoredPathAndNoProjectsSelectsNothing)
{
    restore(std::nullopt, {});
    EXPECT_FALSE(projectManager.selectedProject().has_value());
    EXPECT_EQ(projectManager.selections, QStringList{QStringLiteral("nil")});
}

TEST_F(SelectionRestorerTest, StoredPathOfATopLevelProjectSelectsItWithoutLog)
{
    restore(QStringLiteral("/p/web"), {api, web});
    EXPECT_EQ(projectManager.selectedProject(), web);
    EXPECT_TRUE(migrationLines().isEmpty());
}

TEST_F(SelectionRestorerTest, StoredPathThatNowBelongsToASubprojectSelectsItAndLogsNesting)
{
    const Project admin =
        TestProjects::make(QStringLiteral("admin"), 3001, QStringLiteral("/p/web/admin"));
    const Project site =
        TestProjects::make(QStringLiteral("site"), 3002, QStringLiteral("/p/site"));
    const Project parent =
        TestProjects::make(QStringLiteral("apps"), 3000, QStringLiteral("/p/apps"), {admin, site});
    restore(QStringLiteral("/p/site"), {api, parent});
    EXPECT_EQ(projectManager.selectedProject(), site);
    EXPECT_EQ(migrationLines(),
              QStringList{QStringLiteral("📦 [Migration] Parent became nested: site")});
}

TEST_F(SelectionRestorerTest, StoredPathThatNowHoldsSeveralProjectsSelectsTheFirstChildInListOrder)
{
    const Project admin =
        TestProjects::make(QStringLiteral("admin"), 3001, QStringLiteral("/p/mono/admin"));
    const Project site =
        TestProjects::make(QStringLiteral("site"), 3002, QStringLiteral("/p/mono/site"));
    restore(QStringLiteral("/p/mono"), {api, site, admin});
    EXPECT_EQ(projectManager.selectedProject(), site);
    EXPECT_EQ(migrationLines(),
              QStringList{QStringLiteral("📦 [Migration] Selected first child: site")});
}

TEST_F(SelectionRestorerTest, SubprojectMatchWinsOverAPrefixMatch)
{
    const Project nested =
        TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    const Project parent =
        TestProjects::make(QStringLiteral("apps"), 3000, QStringLiteral("/p/apps"), {nested});
    const Project prefixed =
        TestProjects::make(QStringLiteral("web-old"), 3005, QStringLiteral("/p/web-old"));
    restore(QStringLiteral("/p/web"), {prefixed, parent});
    EXPECT_EQ(projectManager.selectedProject(), nested);
    EXPECT_EQ(migrationLines(),
              QStringList{QStringLiteral("📦 [Migration] Parent became nested: web")});
}

TEST_F(SelectionRestorerTest, StoredPathThatIsGoneSelectsTheFirstProject)
{
    restore(QStringLiteral("/elsewhere/gone"), {api, web});
    EXPECT_EQ(projectManager.selectedProject(), api);
    EXPECT_TRUE(migrationLines().isEmpty());
}

TEST_F(SelectionRestorerTest, EmptyListAfterScanLeavesTheSelectionNil)
{
    restore(QStringLiteral("/p/web"), {});
    EXPECT_FALSE(projectManager.selectedProject().has_value());
    EXPECT_TRUE(migrationLines().isEmpty());
}

TEST(SelectionRestorerChoiceTest, ChoiceIsPureAndComparesPathsAsText)
{
    const Project web = TestProjects::make(QStringLiteral("web"), 3000, QStringLiteral("/p/web"));
    // A trailing slash is different text.
    const SelectionRestorer::Choice choice =
        SelectionRestorer::choose(QStringLiteral("/p/web/"), {web});
    EXPECT_EQ(choice.project, web);
    EXPECT_FALSE(choice.logLine.has_value());
    EXPECT_EQ(SelectionRestorer::choose(QStringLiteral("/p/web"), {web}).project, web);
}
