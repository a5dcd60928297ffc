#pragma once

#include "Models/Project.h"

#include <QCoro/QCoroTask>
#include <QList>
#include <QObject>
#include <QUrl>

#include <optional>

class ProjectOverrides;

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
    // Whether a scan is still walking its folder; it publishes when it is the newest one.
    virtual bool isScanning() const { return false; }

    // The user's per-project command and port overrides, applied to every list published from
    // now on and, when one changes, to the last list again without reading the disk. A list
    // that does not come from a scan may ignore them.
    virtual void setOverrides(ProjectOverrides* overrides) { Q_UNUSED(overrides); }

Q_SIGNALS:
    void projectsChanged(const QList<Project>& projects);
    void selectedProjectChanged(const std::optional<Project>& project);
};
