#include "Managers/ProjectManager.h"

#include "Managers/ProjectOverrides.h"
#include "Platform/FileNameCase.h"
#include "Platform/FolderAccess.h"
#include "Platform/SystemTools.h"
#include "Utilities/FrameworkCatalogue.h"
#include "Utilities/PortDetector.h"
#include "Utilities/ProjectFiles.h"

#include <QCollator>
#include <QCoro/QCoroFuture>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonValue>
#include <QPointer>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

QString cleanFolderPath(const QString& path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// Keeps only the runnable parts of a monorepo: direct sub-projects with a development script.
void keepRunnableSubprojects(QList<Project>& projects)
{
    for (Project& project : projects) {
        QList<Project> runnable;
        for (const Project& subproject : std::as_const(project.subprojects)) {
            if (ProjectManager::hasDevScript(subproject.folderPath())) {
                runnable.append(subproject);
            }
        }
        project.subprojects = runnable;
    }
}

const Project* findById(const QList<Project>& projects, const QUuid& id)
{
    for (const Project& project : projects) {
        if (project.id == id) {
            return &project;
        }
        if (const Project* found = findById(project.subprojects, id)) {
            return found;
        }
    }
    return nullptr;
}

// The project (or sub-project) in `folderPath`, top-level projects first.
const Project* findByFolder(const QList<Project>& projects, const QString& folderPath)
{
    for (const Project& project : projects) {
        if (project.folderPath() == folderPath) {
            return &project;
        }
    }
    for (const Project& project : projects) {
        if (const Project* found = findByFolder(project.subprojects, folderPath)) {
            return found;
        }
    }
    return nullptr;
}

// Stable, so names that compare equal keep their discovery order.
void sortByName(QList<Project>& projects)
{
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(projects.begin(), projects.end(), [&](const Project& a, const Project& b) {
        return collator.compare(a.name, b.name) < 0;
    });
}

} // namespace

ProjectManager::ProjectManager(std::shared_ptr<FolderAccess> access, QObject* parent)
    : ProjectManaging(parent)
    , folderAccess(access ? std::move(access) : FolderAccess::makeSystemFolderAccess())
    , walk([](const QString& folderPath) { return scan(folderPath); })
{}

void ProjectManager::setWalk(Walk replacement)
{
    walk = std::move(replacement);
}

void ProjectManager::setSelectedProject(const std::optional<Project>& project)
{
    selection = project;
    Q_EMIT selectedProjectChanged(selection);
}

QCoro::Task<> ProjectManager::scanFolder(QUrl folder)
{
    // Held locally: the manager may go away while the walk runs.
    const std::shared_ptr<FolderAccess> access = folderAccess;
    const bool granted = access->startAccessing(folder);
    const QPointer<ProjectManager> self(this);
    const std::uint64_t generation = ++scanGeneration;
    ++walkingScans;

    // The future is a named local: gcc 12 destroys temporaries of a co_await expression twice.
    QFuture<QList<Project>> walking = QtConcurrent::run(walk, folder.toLocalFile());
    const QList<Project> found = co_await walking;
    if (self) {
        --self->walkingScans;
    }

    // Scans can overlap (a rescan while the start-up scan still walks a large folder); only
    // the newest may publish, whatever order they finish in.
    if (self && self->scanGeneration == generation) {
        self->publishScanResult(found);
    }

    if (granted) {
        access->stopAccessing(folder);
    }
}

void ProjectManager::setOverrides(ProjectOverrides* replacement)
{
    disconnect(overridesConnection);
    overrides = replacement;
    if (replacement) {
        overridesConnection =
            connect(replacement, &ProjectOverrides::changed, this, &ProjectManager::republish);
    }
}

QList<Project> ProjectManager::withOverrides(const QList<Project>& projects) const
{
    if (!overrides) {
        return projects;
    }
    QList<Project> result;
    result.reserve(projects.size());
    for (const Project& project : projects) {
        result.append(overrides->applied(project));
    }
    return result;
}

void ProjectManager::republish()
{
    projectList = withOverrides(scannedList);
    Q_EMIT projectsChanged(projectList);
    if (!selection) {
        return;
    }
    const Project* current = findById(projectList, selection->id);
    if (current && *current != *selection) {
        setSelectedProject(*current);
    }
}

void ProjectManager::publishScanResult(const QList<Project>& scanned)
{
    scannedList = scanned;
    projectList = withOverrides(scanned);
    Q_EMIT projectsChanged(projectList);

    // The selection stays while a project with its identity is still listed. Every scan gives
    // new identities, so a rescan keeps it by its folder: the project found there now becomes
    // the selection.
    const bool selectionSurvives =
        selection &&
        std::any_of(projectList.cbegin(), projectList.cend(),
                    [&](const Project& project) { return project.id == selection->id; });
    if (selectionSurvives) {
        return;
    }
    if (selection) {
        if (const Project* same = findByFolder(projectList, selection->folderPath())) {
            setSelectedProject(*same);
            return;
        }
    }
    setSelectedProject(projectList.isEmpty() ? std::nullopt
                                             : std::optional<Project>(projectList.first()));
}

QList<Project> ProjectManager::scan(const QString& folderPath)
{
    return scan(folderPath, &FileNameCase::of);
}

QList<Project> ProjectManager::scan(const QString& folderPath, const NameCase& nameCase)
{
    const QString base = cleanFolderPath(folderPath);
    const FolderListing listing = listFolder(base, nameCase);
    // The top-level folders are walked side by side on the pool's threads, each on its own;
    // their projects join in listing order, as one walk would have found them.
    // A pool of its own: the scan may itself run on a thread of the global pool, which
    // other work can have filled.
    QThreadPool pool;
    const QList<QList<Project>> parts = QtConcurrent::blockingMapped<QList<QList<Project>>>(
        &pool, listing.subfolders, [&](const QString& name) {
            FolderListing one;
            one.readable = listing.readable;
            one.subfolders = QStringList{name};
            QList<Project> found;
            scanListedFolder(base, one, 0, found, base, std::nullopt, nameCase);
            return found;
        });
    QList<Project> projects;
    for (const QList<Project>& part : parts) {
        projects.append(part);
    }
    keepRunnableSubprojects(projects);
    sortByName(projects);
    return projects;
}

void ProjectManager::scanRecursively(const QString& folderPath, int depth,
                                     QList<Project>& accumulator, const QString& basePath,
                                     const std::optional<QString>& parentPath)
{
    if (depth > maxDepth) {
        return;
    }
    const NameCase nameCase = &FileNameCase::of;
    scanListedFolder(folderPath, listFolder(folderPath, nameCase), depth, accumulator, basePath,
                     parentPath, nameCase);
}

ProjectManager::FolderListing ProjectManager::listFolder(const QString& folderPath,
                                                         const NameCase& nameCase)
{
    FolderListing listing;
    // The entry types as the directory itself gives them: no look-up per entry, which is most
    // of what a scan costs.
    DIR* directory = ::opendir(QFile::encodeName(folderPath).constData());
    if (!directory) {
        return listing;
    }
    listing.readable = true;
    QStringList names;
    while (const dirent* entry = ::readdir(directory)) {
        const char* rawName = entry->d_name;
        if (rawName[0] == '.' &&
            (rawName[1] == '\0' || (rawName[1] == '.' && rawName[2] == '\0'))) {
            continue;
        }
        const QString name = QFile::decodeName(rawName);
        names.append(name);
        // A symbolic link is never a folder here, so a link back to a parent cannot make the
        // walk loop or multiply.
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            struct stat info
            {};
            isFolder = ::fstatat(::dirfd(directory), rawName, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                       S_ISDIR(info.st_mode);
        }
        // Hidden: a leading dot, and wherever the platform has one, the file's hidden flag.
        if (isFolder && rawName[0] != '.' &&
            !QFileInfo(folderPath + QLatin1Char('/') + name).isHidden()) {
            listing.subfolders.append(name);
        }
    }
    ::closedir(directory);
    // The directory's own order is arbitrary; by name keeps scans reproducible.
    std::sort(listing.subfolders.begin(), listing.subfolders.end());
    // An empty folder finds no name under either rule: its file system need not be asked.
    listing.entries =
        FolderEntries(names, names.isEmpty() ? Qt::CaseSensitive : nameCase(folderPath));
    return listing;
}

void ProjectManager::scanListedFolder(const QString& folderPath, const FolderListing& listing,
                                      int depth, QList<Project>& accumulator,
                                      const QString& basePath,
                                      const std::optional<QString>& parentPath,
                                      const NameCase& nameCase)
{
    if (depth > maxDepth) {
        return;
    }
    for (const QString& name : listing.subfolders) {
        if (ignoredFolders().contains(name)) {
            continue;
        }
        const QString path = folderPath + QLatin1Char('/') + name;
        // Each folder is listed once: the listing serves type detection, port detection and the
        // walk below it.
        const FolderListing contents = listFolder(path, nameCase);
        ProjectType type = contents.readable ? ProjectType::detect(path, contents.entries)
                                             : ProjectType::detect(path, nameCase(path));
        // A site generator's configuration makes a site of a folder without other markers.
        if (type == ProjectType::unknown && contents.readable) {
            type = FrameworkCatalogue::projectKind(path, contents.entries)
                       .value_or(ProjectType::unknown);
        }

        if (type == ProjectType::unknown) {
            // A grouping folder: its projects join the list of its siblings.
            scanListedFolder(path, contents, depth + 1, accumulator, basePath, parentPath,
                             nameCase);
            continue;
        }

        const auto framework =
            contents.readable
                ? FrameworkCatalogue::detect(path, contents.entries, type, commandSearchPath())
                : std::nullopt;
        const DetectionResult detection = PortDetector::detectForProject(
            path, contents.readable ? &contents.entries : nullptr,
            framework ? framework->scriptPort : std::nullopt,
            framework ? std::optional<int>(framework->defaultPort) : std::nullopt);

        Project project;
        project.id = QUuid::createUuid();
        project.name = name;
        project.path = QUrl::fromLocalFile(path);
        project.type = type;
        project.port = detection.port.value_or(type == ProjectType::static_ ? 8080 : 3000);
        project.detectedPort = detection.port;
        project.portSource = detection.source;
        if (framework) {
            project.framework = framework->id;
            project.frameworkCommand = framework->command;
        }
        project.relativePath =
            path.startsWith(basePath + QLatin1Char('/')) ? path.mid(basePath.size() + 1) : path;
        scanListedFolder(path, contents, depth + 1, project.subprojects, basePath, path, nameCase);
        accumulator.append(project);
    }
}

bool ProjectManager::hasDevScript(const QString& folderPath)
{
    const auto package =
        ProjectFiles::readJsonObject(QDir(folderPath).filePath(QStringLiteral("package.json")));
    if (!package) {
        return false;
    }
    const QJsonValue scripts = package->value(QLatin1String("scripts"));
    if (!scripts.isObject()) {
        return false;
    }
    const QJsonObject scriptMap = scripts.toObject();
    return std::any_of(devScriptNames().cbegin(), devScriptNames().cend(),
                       [&](const QString& name) { return scriptMap.contains(name); });
}

const QSet<QString>& ProjectManager::ignoredFolders()
{
    static const QSet<QString> names{
        QStringLiteral("node_modules"), QStringLiteral(".git"),        QStringLiteral("vendor"),
        QStringLiteral("build"),        QStringLiteral("dist"),        QStringLiteral(".next"),
        QStringLiteral("target"),       QStringLiteral("__pycache__"), QStringLiteral(".venv"),
        QStringLiteral("Pods"),         QStringLiteral(".cache"),      QStringLiteral(".gradle"),
        QStringLiteral("out"),          QStringLiteral("bin"),         QStringLiteral(".idea"),
        QStringLiteral(".vscode"),
    };
    return names;
}

const QStringList& ProjectManager::commandSearchPath()
{
    // Servers start with this search path, so a "python" elsewhere (a version manager's shim
    // in the user's PATH) would not be found by them.
    static const QStringList folders =
        SystemTools::serverSearchPath().split(u':', Qt::SkipEmptyParts);
    return folders;
}

const QStringList& ProjectManager::devScriptNames()
{
    static const QStringList names{QStringLiteral("dev"), QStringLiteral("start"),
                                   QStringLiteral("serve"), QStringLiteral("dev:server")};
    return names;
}
