#include "Managers/ProjectManager.h"
#include "Managers/ProjectOverrides.h"

#include "fakes/FakeFolderAccess.h"
#include "support/AwaitTask.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>

using TestSupport::writeFile;

namespace {

// Projects scanned from a real folder, published by a manager that applies the overrides.
class ProjectManagerOverrides : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Vite's usual port, from the dependencies; no command of its own.
        writeFile(dir.path(), QStringLiteral("site/package.json"),
                  R"({"scripts":{"dev":"vite"},"devDependencies":{"vite":"5"}})");
        // A port from the dev script.
        writeFile(dir.path(), QStringLiteral("api/package.json"),
                  R"({"scripts":{"dev":"node server.js --port 4567"}})");
        manager.setWalk([this](const QString& folder) {
            ++walks;
            return ProjectManager::scan(folder);
        });
        manager.setOverrides(&overrides);
    }

    QString folder(const QString& name) const { return QDir(dir.path()).filePath(name); }
    void runScan() { TestSupport::awaitTask(manager.scanFolder(QUrl::fromLocalFile(dir.path()))); }

    std::optional<Project> listed(const QString& name) const
    {
        for (const Project& project : manager.projects()) {
            if (project.name == name) {
                return project;
            }
        }
        return std::nullopt;
    }

    QTemporaryDir dir;
    TestSettings settings;
    ProjectOverrides overrides{settings.get()};
    ProjectManager manager{std::make_shared<FakeFolderAccess>()};
    std::atomic<int> walks = 0;
};

} // namespace

TEST_F(ProjectManagerOverrides, TheScanAppliesTheStoredCommandAndPort)
{
    overrides.setCommand(folder(QStringLiteral("site")), QStringLiteral("pnpm run dev --host"));
    overrides.setPort(folder(QStringLiteral("site")), 4321);
    runScan();

    const auto site = listed(QStringLiteral("site"));
    ASSERT_TRUE(site);
    EXPECT_EQ(site->customCommand, QStringLiteral("pnpm run dev --host"));
    EXPECT_EQ(site->effectiveCommand(), QStringLiteral("pnpm run dev --host"));
    EXPECT_EQ(site->port, 4321);
    EXPECT_EQ(site->detectedPort, 4321);
    EXPECT_EQ(site->portSource, PortSource::manual);

    const auto api = listed(QStringLiteral("api"));
    ASSERT_TRUE(api);
    EXPECT_EQ(api->customCommand, std::nullopt);
    EXPECT_EQ(api->port, 4567);
    EXPECT_EQ(api->portSource, PortSource::packageJson);
}

TEST_F(ProjectManagerOverrides, OverridesFollowTheirFolderAcrossRescansAndARenamedProjectLosesIt)
{
    overrides.setPort(folder(QStringLiteral("site")), 4321);
    overrides.setPort(folder(QStringLiteral("api")), 9000);
    runScan();
    ASSERT_EQ(listed(QStringLiteral("site"))->port, 4321);

    ASSERT_TRUE(QDir(dir.path()).rename(QStringLiteral("site"), QStringLiteral("web")));
    runScan();

    const auto web = listed(QStringLiteral("web"));
    ASSERT_TRUE(web);
    EXPECT_EQ(web->port, 5173);
    EXPECT_EQ(web->portSource, PortSource::defaultValue);
    const auto api = listed(QStringLiteral("api"));
    ASSERT_TRUE(api);
    EXPECT_EQ(api->port, 9000);
    EXPECT_EQ(api->portSource, PortSource::manual);
    // The stored entry stays for the old folder: renaming it back brings it back.
    EXPECT_EQ(overrides.port(folder(QStringLiteral("site"))), 4321);
}

TEST_F(ProjectManagerOverrides, AChangeIsPublishedAtOnceWithoutReadingTheDiskAgain)
{
    runScan();
    manager.setSelectedProject(listed(QStringLiteral("site")));
    ASSERT_EQ(walks, 1);
    QSignalSpy lists(&manager, &ProjectManaging::projectsChanged);
    QSignalSpy selections(&manager, &ProjectManaging::selectedProjectChanged);

    overrides.setPort(folder(QStringLiteral("site")), 4000);

    EXPECT_EQ(walks, 1);
    ASSERT_EQ(lists.count(), 1);
    EXPECT_EQ(listed(QStringLiteral("site"))->port, 4000);
    ASSERT_EQ(selections.count(), 1);
    const auto selected = manager.selectedProject();
    ASSERT_TRUE(selected);
    EXPECT_EQ(selected->name, QStringLiteral("site"));
    EXPECT_EQ(selected->port, 4000);
    EXPECT_EQ(selected->portSource, PortSource::manual);

    // A change to another project leaves the selection as it is.
    overrides.setCommand(folder(QStringLiteral("api")), QStringLiteral("node server.js"));
    EXPECT_EQ(lists.count(), 2);
    EXPECT_EQ(selections.count(), 1);
    EXPECT_EQ(listed(QStringLiteral("api"))->customCommand, QStringLiteral("node server.js"));
    EXPECT_EQ(walks, 1);
}

TEST_F(ProjectManagerOverrides, RemovingAnOverrideReturnsToWhatTheScanFound)
{
    overrides.setPort(folder(QStringLiteral("api")), 8081);
    overrides.setCommand(folder(QStringLiteral("api")), QStringLiteral("yarn dev"));
    runScan();
    manager.setSelectedProject(listed(QStringLiteral("api")));

    overrides.setPort(folder(QStringLiteral("api")), std::nullopt);
    overrides.setCommand(folder(QStringLiteral("api")), std::nullopt);

    const auto api = manager.selectedProject();
    ASSERT_TRUE(api);
    EXPECT_EQ(api->name, QStringLiteral("api"));
    EXPECT_EQ(api->port, 4567);
    EXPECT_EQ(api->detectedPort, 4567);
    EXPECT_EQ(api->portSource, PortSource::packageJson);
    EXPECT_EQ(api->customCommand, std::nullopt);
    EXPECT_EQ(api->effectiveCommand(), QStringLiteral("npm run dev"));
    EXPECT_EQ(walks, 1);
}

TEST(ProjectManagerWithoutOverrides, PublishesTheScanAsItIs)
{
    QTemporaryDir dir;
    writeFile(dir.path(), QStringLiteral("site/package.json"), R"({"scripts":{"dev":"vite"}})");
    TestSettings settings;
    ProjectOverrides overrides(settings.get());
    overrides.setPort(QDir(dir.path()).filePath(QStringLiteral("site")), 4321);
    ProjectManager manager(std::make_shared<FakeFolderAccess>());
    manager.setOverrides(&overrides);
    manager.setOverrides(nullptr);

    TestSupport::awaitTask(manager.scanFolder(QUrl::fromLocalFile(dir.path())));
    ASSERT_EQ(manager.projects().size(), 1);
    EXPECT_EQ(manager.projects().first().port, 3000);

    QSignalSpy lists(&manager, &ProjectManaging::projectsChanged);
    overrides.setPort(QDir(dir.path()).filePath(QStringLiteral("site")), 4322);
    EXPECT_EQ(lists.count(), 0);
}
