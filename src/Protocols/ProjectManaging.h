#pragma once

#include "Models/Project.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QUrl>

#include <optional>

// The project list and the selection, as the status bar and the application see them.
class ProjectManaging : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    ~ProjectManaging() override = default;

    virtual QList<Project> projects() const = 0;
    virtual std::optional<Project> selectedProject() const = 0;
    // Publishes `selectedProjectChanged` on every assignment.
    virtual void setSelectedProject(const std::optional<Project>& project) = 0;

    // Rebuilds `projects` from the folder, then repairs the selection.
    virtual QCoro::Task<> scanFolder(QUrl folder) = 0;

Q_SIGNALS:
    void projectsChanged(const QList<Project>& projects);
    void selectedProjectChanged(const std::optional<Project>& project);
};
