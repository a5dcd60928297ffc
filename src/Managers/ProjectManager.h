#pragma once

#include "Models/FolderEntries.h"
#include "Protocols/ProjectManaging.h"

#include <QPointer>
#include <QSet>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>

class FolderAccess;

// Turns the projects folder into the sorted project list and keeps the selection.
class ProjectManager : public ProjectManaging
{
    Q_OBJECT
public:
    static constexpr int maxDepth = 4;

    // The complete scan of a folder (a local path), run on a worker thread.
    using Walk = std::function<QList<Project>(const QString& folderPath)>;
    // How names are looked up in a folder (a local path); safe on any thread.
    using NameCase = std::function<Qt::CaseSensitivity(const QString& folderPath)>;

    explicit ProjectManager(std::shared_ptr<FolderAccess> folderAccess = nullptr,
                            QObject* parent = nullptr);

    QList<Project> projects() const override { return projectList; }
    std::optional<Project> selectedProject() const override { return selection; }
    void setSelectedProject(const std::optional<Project>& project) override;
    void setOverrides(ProjectOverrides* overrides) override;

    // Walks the folder on a worker thread, then publishes on the calling (main) thread: the
    // list first, then the repaired selection. The newest call wins: a scan that finishes after
    // a later one was started publishes nothing.
    QCoro::Task<> scanFolder(QUrl folder) override;
    bool isScanning() const override { return walkingScans > 0; }

    // Replaces the walk that scanFolder runs (by default `scan`).
    void setWalk(Walk walk);

    // Replaces the list (published first, with the overrides in force), then repairs the
    // selection: a selection still listed by id stays; one whose folder still holds a project
    // (or sub-project) becomes that project; none or a vanished selection becomes the first
    // project (or none).
    void publishScanResult(const QList<Project>& found);

    // The walk itself; blocking, safe on any thread. `folderPath`, `basePath` are local paths.
    static void scanRecursively(const QString& folderPath, int depth, QList<Project>& accumulator,
                                const QString& basePath, const std::optional<QString>& parentPath);
    // The complete scan result for a folder (walk, sub-project filter, sort), without
    // publishing anything. Used by scanFolder and by wisp-scan. Marker and configuration file
    // names are matched as `nameCase` says each folder matches them (by default, as its file
    // system does).
    static QList<Project> scan(const QString& folderPath);
    static QList<Project> scan(const QString& folderPath, const NameCase& nameCase);

    static bool hasDevScript(const QString& folderPath);

    static const QSet<QString>& ignoredFolders();
    static const QStringList& devScriptNames();
    // Where a server's shell finds commands, for the choice of "python": the fixed folders
    // servers are started with.
    static const QStringList& commandSearchPath();

private:
    struct FolderListing
    {
        bool readable = false;
        FolderEntries entries;  // every entry, hidden ones included
        QStringList subfolders; // visible real folders (never links), by name
    };

    static FolderListing listFolder(const QString& folderPath, const NameCase& nameCase);
    static void scanListedFolder(const QString& folderPath, const FolderListing& listing, int depth,
                                 QList<Project>& accumulator, const QString& basePath,
                                 const std::optional<QString>& parentPath,
                                 const NameCase& nameCase);

    QList<Project> withOverrides(const QList<Project>& projects) const;
    // Publishes the last scan result again with the overrides as they are now, and the
    // selection too when its overrides changed.
    void republish();

    std::shared_ptr<FolderAccess> folderAccess;
    Walk walk;
    // Counts scanFolder calls; a scan publishes only while it is still the latest.
    std::uint64_t scanGeneration = 0;
    // Scans whose walk has not ended yet.
    int walkingScans = 0;
    QList<Project> projectList;
    // The last scan result as found on disk: a removed override falls back to it.
    QList<Project> scannedList;
    std::optional<Project> selection;
    QPointer<ProjectOverrides> overrides;
    QMetaObject::Connection overridesConnection;
};
