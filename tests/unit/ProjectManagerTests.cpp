#include "Managers/ProjectManager.h"

#include "fakes/FakeFolderAccess.h"
#include "support/AwaitTask.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoro/QCoroTask>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>

using TestSupport::makeDir;
using TestSupport::writeFile;

namespace {

const QByteArray devPackage = R"({"scripts": {"dev": "vite"}})";
const QByteArray plainPackage = R"({"name": "lib"})";

class ProjectScan : public ::testing::Test
{
protected:
    QString root() const { return dir.path(); }
    void node(const QString& relative, const QByteArray& package = devPackage)
    {
        writeFile(root(), relative + QStringLiteral("/package.json"), package);
    }
    QList<Project> scan() const { return ProjectManager::scan(root()); }

    static QStringList names(const QList<Project>& projects)
    {
        QStringList result;
        for (const Project& project : projects) {
            result.append(project.name);
        }
        return result;
    }

    static const Project* find(const QList<Project>& projects, const QString& name)
    {
        for (const Project& project : projects) {
            if (project.name == name) {
                return &project;
            }
        }
        return nullptr;
    }

    QTemporaryDir dir;
};

} // namespace

TEST_F(ProjectScan, FoldersDeeperThanTheLimitContributeNothing)
{
    // Folders at depth 0 to 4 are listed, so a project can sit at depth 5 but not deeper.
    node(QStringLiteral("a/b/c/d/five"));
    node(QStringLiteral("a/b/c/d/e/six"));
    node(QStringLiteral("a/b/c/d/e/f/seven"));
    const QList<Project> projects = scan();
    EXPECT_EQ(names(projects), QStringList{QStringLiteral("five")});
    EXPECT_EQ(projects.first().relativePath, QStringLiteral("a/b/c/d/five"));
}

TEST_F(ProjectScan, SubprojectsStopAtTheSameDepthLimit)
{
    node(QStringLiteral("a/b/c/d/app"));
    node(QStringLiteral("a/b/c/d/app/web"));
    const QList<Project> projects = scan();
    ASSERT_EQ(names(projects), QStringList{QStringLiteral("app")});
    EXPECT_TRUE(projects.first().subprojects.isEmpty());
}

TEST_F(ProjectScan, NodeModulesAndGitAreNeverEntered)
{
    node(QStringLiteral("node_modules"));
    node(QStringLiteral("node_modules/pkg"));
    node(QStringLiteral(".git"));
    node(QStringLiteral("group/node_modules/other"));
    node(QStringLiteral("group/.git/hooks"));
    EXPECT_TRUE(scan().isEmpty());
}

TEST_F(ProjectScan, EveryIgnoredFolderNameIsSkippedCaseSensitively)
{
    const QStringList ignored{
        QStringLiteral("node_modules"), QStringLiteral(".git"),        QStringLiteral("vendor"),
        QStringLiteral("build"),        QStringLiteral("dist"),        QStringLiteral(".next"),
        QStringLiteral("target"),       QStringLiteral("__pycache__"), QStringLiteral(".venv"),
        QStringLiteral("Pods"),         QStringLiteral(".cache"),      QStringLiteral(".gradle"),
        QStringLiteral("out"),          QStringLiteral("bin"),         QStringLiteral(".idea"),
        QStringLiteral(".vscode"),
    };
    EXPECT_EQ(ProjectManager::ignoredFolders().size(), ignored.size());
    for (const QString& name : ignored) {
        EXPECT_TRUE(ProjectManager::ignoredFolders().contains(name)) << name.toStdString();
        node(QStringLiteral("group/") + name);
    }
    EXPECT_TRUE(scan().isEmpty());

    // The same names in another case are ordinary folders.
    node(QStringLiteral("group/Vendor"));
    node(QStringLiteral("group/pods"));
    node(QStringLiteral("group/BIN"));
    EXPECT_EQ(names(scan()), (QStringList{QStringLiteral("BIN"), QStringLiteral("pods"),
                                          QStringLiteral("Vendor")}));
}

TEST_F(ProjectScan, HiddenEntriesAreSkipped)
{
    node(QStringLiteral(".hidden-app"));
    node(QStringLiteral(".group/app"));
    EXPECT_TRUE(scan().isEmpty());
}

TEST_F(ProjectScan, FilesAreNotFolders)
{
    writeFile(root(), QStringLiteral("package.json"), devPackage);
    writeFile(root(), QStringLiteral("notes.txt"), "x");
    EXPECT_TRUE(scan().isEmpty());
}

TEST_F(ProjectScan, GroupingFolderFlattensIntoTheList)
{
    node(QStringLiteral("clients/acme"));
    node(QStringLiteral("clients/globex"));
    const QList<Project> projects = scan();
    ASSERT_EQ(names(projects), (QStringList{QStringLiteral("acme"), QStringLiteral("globex")}));
    EXPECT_EQ(projects.at(0).relativePath, QStringLiteral("clients/acme"));
    EXPECT_EQ(projects.at(1).relativePath, QStringLiteral("clients/globex"));
    EXPECT_EQ(projects.at(0).folderPath(), QDir(root()).filePath(QStringLiteral("clients/acme")));
}

TEST_F(ProjectScan, RelativePathOfATopLevelProjectIsItsName)
{
    node(QStringLiteral("web"));
    EXPECT_EQ(scan().first().relativePath, QStringLiteral("web"));
}

TEST_F(ProjectScan, MonorepoKeepsOnlySubprojectsWithADevScript)
{
    node(QStringLiteral("mono"), R"({"name": "mono", "workspaces": ["packages/*"]})");
    node(QStringLiteral("mono/packages/web"), devPackage);
    node(QStringLiteral("mono/packages/lib"), plainPackage);
    const QList<Project> projects = scan();
    ASSERT_EQ(names(projects), QStringList{QStringLiteral("mono")});
    const Project& mono = projects.first();
    ASSERT_EQ(names(mono.subprojects), QStringList{QStringLiteral("web")});
    EXPECT_EQ(mono.subprojects.first().relativePath, QStringLiteral("mono/packages/web"));
}

TEST_F(ProjectScan, NonNodeSubprojectsAreDropped)
{
    node(QStringLiteral("mono"));
    writeFile(root(), QStringLiteral("mono/api/go.mod"), "module api");
    writeFile(root(), QStringLiteral("mono/docs-site/index.html"), "<html>");
    writeFile(root(), QStringLiteral("mono/docs-site/about.html"), "<html>");
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_TRUE(projects.first().subprojects.isEmpty());
}

TEST_F(ProjectScan, EveryDevScriptNameCounts)
{
    EXPECT_EQ(ProjectManager::devScriptNames(),
              (QStringList{QStringLiteral("dev"), QStringLiteral("start"), QStringLiteral("serve"),
                           QStringLiteral("dev:server")}));
    for (const QString& script : ProjectManager::devScriptNames()) {
        QTemporaryDir folder;
        writeFile(folder.path(), QStringLiteral("package.json"),
                  QStringLiteral(R"({"scripts": {"%1": "x"}})").arg(script).toUtf8());
        EXPECT_TRUE(ProjectManager::hasDevScript(folder.path())) << script.toStdString();
    }
}

TEST_F(ProjectScan, HasDevScriptIsFalseForEverythingElse)
{
    const QByteArray packages[] = {
        R"({"scripts": {"build": "x", "test": "y"}})",
        R"({"name": "x"})",
        R"({"scripts": ["dev"]})",
        R"(["dev"])",
        R"({"scripts": {"dev": "x")",
        "",
    };
    for (const QByteArray& package : packages) {
        QTemporaryDir folder;
        writeFile(folder.path(), QStringLiteral("package.json"), package);
        EXPECT_FALSE(ProjectManager::hasDevScript(folder.path())) << package.toStdString();
    }
    QTemporaryDir empty;
    EXPECT_FALSE(ProjectManager::hasDevScript(empty.path()));
}

TEST_F(ProjectScan, MonorepoFilterAppliesToDirectSubprojectsOfTopLevelProjectsOnly)
{
    node(QStringLiteral("mono"));
    node(QStringLiteral("mono/apps/site"), devPackage);
    node(QStringLiteral("mono/apps/site/widgets"), plainPackage);
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    ASSERT_EQ(names(projects.first().subprojects), QStringList{QStringLiteral("site")});
    // The nested sub-project has no dev script but is kept as found.
    EXPECT_EQ(names(projects.first().subprojects.first().subprojects),
              QStringList{QStringLiteral("widgets")});
}

TEST_F(ProjectScan, SubprojectsKeepTheListingOrderAndAreNotSorted)
{
    node(QStringLiteral("mono"));
    node(QStringLiteral("mono/b-web"));
    node(QStringLiteral("mono/a-admin"));
    node(QStringLiteral("mono/C-docs"));
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    // The listing is by name (case-sensitive); the sub-projects are not re-sorted after that.
    EXPECT_EQ(names(projects.first().subprojects),
              (QStringList{QStringLiteral("C-docs"), QStringLiteral("a-admin"),
                           QStringLiteral("b-web")}));
}

TEST_F(ProjectScan, TopLevelListIsSortedCaseInsensitivelyAndStably)
{
    node(QStringLiteral("beta"));
    node(QStringLiteral("Gamma"));
    node(QStringLiteral("alpha"));
    node(QStringLiteral("group/Alpha"));
    const QList<Project> projects = scan();
    // "Alpha" and "alpha" compare equal and keep their discovery order ("alpha" is listed
    // before "group").
    EXPECT_EQ(names(projects), (QStringList{QStringLiteral("alpha"), QStringLiteral("Alpha"),
                                            QStringLiteral("beta"), QStringLiteral("Gamma")}));
}

TEST_F(ProjectScan, EqualNamesKeepDiscoveryOrderInTheSort)
{
    // beta, Alpha and alpha discovered in that order sort as Alpha, alpha, beta.
    node(QStringLiteral("1/beta"));
    node(QStringLiteral("2/Alpha"));
    node(QStringLiteral("3/alpha"));
    const QList<Project> projects = scan();
    EXPECT_EQ(names(projects), (QStringList{QStringLiteral("Alpha"), QStringLiteral("alpha"),
                                            QStringLiteral("beta")}));
    EXPECT_EQ(projects.at(0).relativePath, QStringLiteral("2/Alpha"));
    EXPECT_EQ(projects.at(1).relativePath, QStringLiteral("3/alpha"));
}

TEST_F(ProjectScan, StaticSiteWithoutDetectedPortGets8080)
{
    writeFile(root(), QStringLiteral("site/index.html"), "<html>");
    writeFile(root(), QStringLiteral("site/style.css"), "body{}");
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first().type, ProjectType::static_);
    EXPECT_EQ(projects.first().port, 8080);
    EXPECT_FALSE(projects.first().detectedPort.has_value());
    EXPECT_FALSE(projects.first().portSource.has_value());
}

TEST_F(ProjectScan, NodeProjectWithoutPortHintGets3000WithoutSource)
{
    node(QStringLiteral("api"), R"({"scripts": {"dev": "node server.js"}})");
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first().port, 3000);
    EXPECT_FALSE(projects.first().detectedPort.has_value());
    EXPECT_FALSE(projects.first().portSource.has_value());
}

TEST_F(ProjectScan, OtherTypesWithoutPortGet3000)
{
    writeFile(root(), QStringLiteral("svc/go.mod"), "module svc");
    writeFile(root(), QStringLiteral("svc/.env"), "");
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first().type, ProjectType::go);
    EXPECT_EQ(projects.first().port, 3000);
}

TEST_F(ProjectScan, DetectedPortFillsAllPortFields)
{
    writeFile(root(), QStringLiteral("web/package.json"), devPackage);
    writeFile(root(), QStringLiteral("web/.env"), "PORT=4321\n");
    const Project project = scan().first();
    EXPECT_EQ(project.port, 4321);
    EXPECT_EQ(project.detectedPort, 4321);
    EXPECT_EQ(project.portSource, PortSource::env);
    EXPECT_FALSE(project.customCommand.has_value());
    EXPECT_EQ(project.effectiveCommand(), QStringLiteral("npm run dev"));
}

TEST_F(ProjectScan, TwoScansDifferOnlyInIdentity)
{
    node(QStringLiteral("web"));
    Project first = scan().first();
    const Project second = scan().first();
    EXPECT_NE(first, second);
    EXPECT_NE(first.id, second.id);
    first.id = second.id;
    EXPECT_EQ(first, second);
}

TEST_F(ProjectScan, SymbolicLinkToAFolderIsNotAFolder)
{
    node(QStringLiteral("real/app"));
    ASSERT_TRUE(QFile::link(QDir(root()).filePath(QStringLiteral("real")),
                            QDir(root()).filePath(QStringLiteral("linked"))));
    EXPECT_EQ(names(scan()), QStringList{QStringLiteral("app")});
}

TEST_F(ProjectScan, SymbolicLinkLoopNeitherLoopsNorMultiplies)
{
    node(QStringLiteral("group/app"));
    ASSERT_TRUE(QFile::link(root(), QDir(root()).filePath(QStringLiteral("group/back-to-root"))));
    ASSERT_TRUE(QFile::link(QDir(root()).filePath(QStringLiteral("group")),
                            QDir(root()).filePath(QStringLiteral("group/app/up"))));
    const QList<Project> projects = scan();
    EXPECT_EQ(names(projects), QStringList{QStringLiteral("app")});
    EXPECT_TRUE(projects.first().subprojects.isEmpty());
}

TEST_F(ProjectScan, FifoNamedDotEnvDoesNotStallTheScan)
{
    node(QStringLiteral("web"));
    const QByteArray fifo = QFile::encodeName(QDir(root()).filePath(QStringLiteral("web/.env")));
    ASSERT_EQ(::mkfifo(fifo.constData(), 0600), 0);
    writeFile(root(), QStringLiteral("web/.env.development"), "PORT=4100\n");
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first().port, 4100);
}

TEST_F(ProjectScan, MissingOrEmptyFolderGivesAnEmptyList)
{
    EXPECT_TRUE(scan().isEmpty());
    EXPECT_TRUE(ProjectManager::scan(QDir(root()).filePath(QStringLiteral("gone"))).isEmpty());
}

TEST_F(ProjectScan, MarkerNamesFollowTheFoldersCaseRule)
{
    writeFile(root(), QStringLiteral("site/Index.html"), "<html>");
    writeFile(root(), QStringLiteral("site/about.html"), "<html>");
    writeFile(root(), QStringLiteral("shop/gemfile"), "source 'https://rubygems.org'");
    writeFile(root(), QStringLiteral("shop/.ENV"), "PORT=4567\n");

    const QList<Project> insensitive =
        ProjectManager::scan(root(), [](const QString&) { return Qt::CaseInsensitive; });
    ASSERT_EQ(names(insensitive), (QStringList{QStringLiteral("shop"), QStringLiteral("site")}));
    EXPECT_EQ(insensitive.at(0).type, ProjectType::ruby);
    EXPECT_EQ(insensitive.at(0).port, 4567);
    EXPECT_EQ(insensitive.at(0).portSource, PortSource::env);
    EXPECT_EQ(insensitive.at(1).type, ProjectType::static_);

    EXPECT_TRUE(
        ProjectManager::scan(root(), [](const QString&) { return Qt::CaseSensitive; }).isEmpty());
}

TEST_F(ProjectScan, CaseRuleIsAskedPerFolder)
{
    // A case-folded folder inside a case-sensitive tree: only there do other spellings count.
    writeFile(root(), QStringLiteral("folded/app/GO.MOD"), "module app");
    writeFile(root(), QStringLiteral("plain/app/GO.MOD"), "module app");
    const QString folded = QDir(root()).filePath(QStringLiteral("folded"));
    const QList<Project> projects = ProjectManager::scan(root(), [&](const QString& folder) {
        return folder.startsWith(folded) ? Qt::CaseInsensitive : Qt::CaseSensitive;
    });
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first().relativePath, QStringLiteral("folded/app"));
}

TEST_F(ProjectScan, BrokenPackageJsonStillMakesANodeProject)
{
    writeFile(root(), QStringLiteral("web/package.json"), "{ not json");
    const QList<Project> projects = scan();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects.first().type, ProjectType::nodejs);
    EXPECT_EQ(projects.first().port, 3000);
}

// --- scanFolder: publication and the selection repair ---

namespace {

class ProjectManagerPublication : public ProjectScan
{
protected:
    void runScan() { QCoro::waitFor(manager.scanFolder(QUrl::fromLocalFile(root()))); }

    std::shared_ptr<FakeFolderAccess> access = std::make_shared<FakeFolderAccess>();
    ProjectManager manager{access};
};

} // namespace

TEST_F(ProjectManagerPublication, StartsEmptyWithoutSelection)
{
    EXPECT_TRUE(manager.projects().isEmpty());
    EXPECT_FALSE(manager.selectedProject().has_value());
}

TEST_F(ProjectManagerPublication, PublishesTheListThenTheSelectionOnTheMainThread)
{
    node(QStringLiteral("b"));
    node(QStringLiteral("a"));
    QStringList events;
    QThread* mainThread = QThread::currentThread();
    bool allOnMainThread = true;
    QObject::connect(&manager, &ProjectManaging::projectsChanged, [&](const QList<Project>& list) {
        allOnMainThread &= QThread::currentThread() == mainThread;
        events.append(QStringLiteral("projects:%1").arg(list.size()));
    });
    QObject::connect(&manager, &ProjectManaging::selectedProjectChanged,
                     [&](const std::optional<Project>& project) {
                         allOnMainThread &= QThread::currentThread() == mainThread;
                         events.append(QStringLiteral("selected:") +
                                       (project ? project->name : QStringLiteral("none")));
                     });
    runScan();
    EXPECT_EQ(events, (QStringList{QStringLiteral("projects:2"), QStringLiteral("selected:a")}));
    EXPECT_TRUE(allOnMainThread);
    EXPECT_EQ(names(manager.projects()), (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
}

TEST_F(ProjectManagerPublication, NoSelectionSelectsTheFirstProject)
{
    node(QStringLiteral("zeta"));
    node(QStringLiteral("alpha"));
    runScan();
    ASSERT_TRUE(manager.selectedProject().has_value());
    EXPECT_EQ(manager.selectedProject()->name, QStringLiteral("alpha"));
}

TEST_F(ProjectManagerPublication, SelectionWithTheSameIdStays)
{
    node(QStringLiteral("alpha"));
    node(QStringLiteral("beta"));
    runScan();
    const QList<Project> list = manager.projects();
    manager.setSelectedProject(list.at(1));

    QSignalSpy selectionSpy(&manager, &ProjectManaging::selectedProjectChanged);
    QList<Project> republished = list;
    std::swap(republished[0], republished[1]);
    manager.publishScanResult(republished);
    EXPECT_EQ(selectionSpy.count(), 0);
    EXPECT_EQ(manager.selectedProject(), list.at(1));
}

TEST_F(ProjectManagerPublication, SelectionStaysByIdentityEvenWhenOtherFieldsChanged)
{
    node(QStringLiteral("alpha"));
    runScan();
    const Project selected = manager.projects().first();
    Project renamed = selected;
    renamed.port = 9999;
    manager.publishScanResult({renamed});
    // The old selection value is kept as it was.
    EXPECT_EQ(manager.selectedProject(), selected);
}

TEST_F(ProjectManagerPublication, RescanKeepsTheSelectionByItsFolderWithItsNewIdentity)
{
    node(QStringLiteral("alpha"));
    node(QStringLiteral("beta"));
    runScan();
    const Project before = manager.projects().at(1);
    manager.setSelectedProject(before);
    QSignalSpy selectionSpy(&manager, &ProjectManaging::selectedProjectChanged);

    runScan();

    ASSERT_TRUE(manager.selectedProject().has_value());
    EXPECT_EQ(manager.selectedProject()->name, QStringLiteral("beta"));
    EXPECT_EQ(manager.selectedProject()->folderPath(), before.folderPath());
    // The project as the new list holds it, so that choosing it in the menu is no switch.
    EXPECT_NE(manager.selectedProject()->id, before.id);
    EXPECT_EQ(manager.selectedProject(), manager.projects().at(1));
    EXPECT_EQ(selectionSpy.count(), 1);
}

TEST_F(ProjectManagerPublication, RescanKeepsASelectedSubprojectByItsFolder)
{
    node(QStringLiteral("mono"));
    node(QStringLiteral("mono/packages/web"));
    node(QStringLiteral("zeta"));
    runScan();
    const Project* mono = find(manager.projects(), QStringLiteral("mono"));
    ASSERT_NE(mono, nullptr);
    ASSERT_EQ(mono->subprojects.size(), 1);
    const Project web = mono->subprojects.first();
    manager.setSelectedProject(web);

    runScan();

    ASSERT_TRUE(manager.selectedProject().has_value());
    EXPECT_EQ(manager.selectedProject()->name, QStringLiteral("web"));
    EXPECT_EQ(manager.selectedProject()->folderPath(), web.folderPath());
    EXPECT_NE(manager.selectedProject()->id, web.id);
}

TEST_F(ProjectManagerPublication, SelectionMissingFromTheNewListFallsBackToTheFirst)
{
    node(QStringLiteral("alpha"));
    node(QStringLiteral("beta"));
    runScan();
    manager.setSelectedProject(manager.projects().at(1));
    ASSERT_TRUE(QDir(QDir(root()).filePath(QStringLiteral("beta"))).removeRecursively());
    runScan();
    ASSERT_TRUE(manager.selectedProject().has_value());
    EXPECT_EQ(manager.selectedProject()->name, QStringLiteral("alpha"));
}

TEST_F(ProjectManagerPublication, EmptyListClearsTheSelection)
{
    node(QStringLiteral("alpha"));
    runScan();
    ASSERT_TRUE(manager.selectedProject().has_value());
    ASSERT_TRUE(QDir(QDir(root()).filePath(QStringLiteral("alpha"))).removeRecursively());
    QSignalSpy selectionSpy(&manager, &ProjectManaging::selectedProjectChanged);
    runScan();
    EXPECT_TRUE(manager.projects().isEmpty());
    EXPECT_FALSE(manager.selectedProject().has_value());
    EXPECT_EQ(selectionSpy.count(), 1);
}

TEST_F(ProjectManagerPublication, AccessSpansTheScanAndIsStoppedWhenGranted)
{
    node(QStringLiteral("alpha"));
    const QUrl folder = QUrl::fromLocalFile(root());
    bool accessOpenWhilePublishing = false;
    QObject::connect(&manager, &ProjectManaging::selectedProjectChanged, [&] {
        accessOpenWhilePublishing =
            access->startedURLs.size() == 1 && access->stoppedURLs.isEmpty();
    });
    runScan();
    EXPECT_EQ(access->startedURLs, QList<QUrl>{folder});
    EXPECT_EQ(access->stoppedURLs, QList<QUrl>{folder});
    EXPECT_TRUE(accessOpenWhilePublishing);
}

TEST_F(ProjectManagerPublication, RefusedAccessIsNotStopped)
{
    access->grantAccess = false;
    node(QStringLiteral("alpha"));
    runScan();
    EXPECT_EQ(access->startedURLs.size(), 1);
    EXPECT_TRUE(access->stoppedURLs.isEmpty());
    EXPECT_EQ(manager.projects().size(), 1);
}

TEST_F(ProjectManagerPublication, NewestScanWinsOverAnOlderSlowerOne)
{
    node(QStringLiteral("before/stale"));
    node(QStringLiteral("after/fresh"));
    const QString slowFolder = QDir(root()).filePath(QStringLiteral("before"));
    const QString fastFolder = QDir(root()).filePath(QStringLiteral("after"));

    // The older scan's walk is held on its worker thread until the newer scan has published.
    // The walk's state is shared: it must outlive this test should the test end early.
    struct WalkState
    {
        QSemaphore slowWalk;
        QMutex mutex;
        QStringList walked;
    };
    const auto state = std::make_shared<WalkState>();
    QSemaphoreReleaser releaseOnExit(state->slowWalk, 1);
    manager.setWalk([state, slowFolder](const QString& folder) {
        if (folder == slowFolder) {
            state->slowWalk.acquire();
        }
        QList<Project> found = ProjectManager::scan(folder);
        QMutexLocker locker(&state->mutex);
        state->walked.append(QFileInfo(folder).fileName());
        return found;
    });
    QSignalSpy published(&manager, &ProjectManaging::projectsChanged);

    EXPECT_FALSE(manager.isScanning());
    QCoro::Task<> older = manager.scanFolder(QUrl::fromLocalFile(slowFolder));
    EXPECT_TRUE(manager.isScanning());
    TestSupport::awaitTask(manager.scanFolder(QUrl::fromLocalFile(fastFolder)));
    ASSERT_EQ(names(manager.projects()), QStringList{QStringLiteral("fresh")});
    ASSERT_EQ(published.count(), 1);
    // The older one still walks.
    EXPECT_TRUE(manager.isScanning());

    releaseOnExit.cancel();
    state->slowWalk.release();
    TestSupport::awaitTask(std::move(older));
    EXPECT_FALSE(manager.isScanning());

    {
        QMutexLocker locker(&state->mutex);
        EXPECT_EQ(state->walked, (QStringList{QStringLiteral("after"), QStringLiteral("before")}));
    }
    EXPECT_EQ(published.count(), 1);
    EXPECT_EQ(names(manager.projects()), QStringList{QStringLiteral("fresh")});
    ASSERT_TRUE(manager.selectedProject().has_value());
    EXPECT_EQ(manager.selectedProject()->name, QStringLiteral("fresh"));
    // The superseded scan still gives its folder access back.
    EXPECT_EQ(access->stoppedURLs.size(), 2);
    EXPECT_TRUE(access->stoppedURLs.contains(QUrl::fromLocalFile(slowFolder)));
}

TEST_F(ProjectManagerPublication, ScansThatDoNotOverlapEachPublish)
{
    node(QStringLiteral("alpha"));
    QSignalSpy published(&manager, &ProjectManaging::projectsChanged);
    runScan();
    node(QStringLiteral("beta"));
    runScan();
    EXPECT_EQ(published.count(), 2);
    EXPECT_EQ(names(manager.projects()),
              (QStringList{QStringLiteral("alpha"), QStringLiteral("beta")}));
}

TEST_F(ProjectManagerPublication, SetSelectedProjectPublishesEveryAssignment)
{
    QSignalSpy spy(&manager, &ProjectManaging::selectedProjectChanged);
    manager.setSelectedProject(std::nullopt);
    manager.setSelectedProject(std::nullopt);
    EXPECT_EQ(spy.count(), 2);
}
