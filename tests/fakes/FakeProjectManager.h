#pragma once

#include "Protocols/ProjectManaging.h"

#include <QStringList>

#include <optional>

// A project list and selection the test sets directly. Scans are recorded and publish
// `scanResult` when one is scripted.
class FakeProjectManager : public ProjectManaging
{
    Q_OBJECT
public:
    std::optional<QList<Project>> scanResult;

    QList<QUrl> scannedFolders;
    // Names of every assigned selection, "nil" for none.
    QStringList selections;

    void setProjects(const QList<Project>& projects)
    {
        projectList = projects;
        Q_EMIT projectsChanged(projectList);
    }

    QList<Project> projects() const override { return projectList; }
    std::optional<Project> selectedProject() const override { return selection; }

    void setSelectedProject(const std::optional<Project>& project) override
    {
        selection = project;
        selections.append(project ? project->name : QStringLiteral("nil"));
        Q_EMIT selectedProjectChanged(selection);
    }

    QCoro::Task<> scanFolder(QUrl folder) override
    {
        scannedFolders.append(folder);
        if (scanResult) {
            setProjects(*scanResult);
        }
        co_return;
    }

private:
    QList<Project> projectList;
    std::optional<Project> selection;
};
