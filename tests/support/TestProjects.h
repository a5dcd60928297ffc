#pragma once

#include "Models/Project.h"

#include <QUuid>

namespace TestProjects {

// A project in `folder` (an absolute path) that starts with "npm run dev".
inline Project make(const QString& name, int port, const QString& folder,
                    const QList<Project>& subprojects = {})
{
    Project project;
    project.id = QUuid::createUuid();
    project.name = name;
    project.path = QUrl::fromLocalFile(folder);
    project.type = ProjectType::nodejs;
    project.customCommand = QStringLiteral("npm run dev");
    project.port = port;
    project.subprojects = subprojects;
    return project;
}

} // namespace TestProjects
