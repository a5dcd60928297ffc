#include "App/SelectionRestorer.h"

#include "Managers/SettingsManager.h"
#include "Protocols/ProjectManaging.h"
#include "Utilities/Log.h"

namespace {

std::optional<Project> firstOf(const QList<Project>& projects)
{
    return projects.isEmpty() ? std::nullopt : std::optional<Project>(projects.first());
}

} // namespace

SelectionRestorer::Choice SelectionRestorer::choose(const std::optional<QString>& storedPath,
                                                    const QList<Project>& projects)
{
    if (!storedPath) {
        return {firstOf(projects), std::nullopt};
    }
    const QString& path = *storedPath;

    for (const Project& project : projects) {
        if (project.folderPath() == path) {
            return {project, std::nullopt};
        }
    }
    // The stored project now lives inside a parent project.
    for (const Project& project : projects) {
        for (const Project& subproject : project.subprojects) {
            if (subproject.folderPath() == path) {
                return {
                    subproject,
                    QStringLiteral("📦 [Migration] Parent became nested: %1").arg(subproject.name)};
            }
        }
    }
    // The stored folder became a container of projects.
    for (const Project& project : projects) {
        if (project.folderPath().startsWith(path)) {
            return {project,
                    QStringLiteral("📦 [Migration] Selected first child: %1").arg(project.name)};
        }
    }
    return {firstOf(projects), std::nullopt};
}

void SelectionRestorer::restoreSelectedProject(SettingsManager& settingsManager,
                                               ProjectManaging& projectManager)
{
    const Choice choice = choose(settingsManager.selectedProjectPath(), projectManager.projects());
    if (choice.logLine) {
        Log::line(*choice.logLine);
    }
    projectManager.setSelectedProject(choice.project);
}
