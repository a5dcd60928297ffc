#pragma once

#include "Models/Project.h"

#include <QList>
#include <QString>

#include <optional>

class ProjectManaging;
class SettingsManager;

// Chooses the selected project after a scan from the stored folder path, following projects
// that moved into a parent folder or became containers of projects.
class SelectionRestorer
{
public:
    SelectionRestorer() = delete;

    struct Choice
    {
        std::optional<Project> project;
        // The migration line to log, if the choice was a migration.
        std::optional<QString> logLine;
    };

    static Choice choose(const std::optional<QString>& storedPath, const QList<Project>& projects);

    // Chooses from the settings' selectedProjectPath and the manager's projects, logs a
    // migration, and assigns the manager's selection.
    static void restoreSelectedProject(SettingsManager& settingsManager,
                                       ProjectManaging& projectManager);
};
