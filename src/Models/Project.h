#pragma once

#include "Models/PortSource.h"
#include "Models/ProjectType.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <optional>

// One development project found in the projects folder. A plain value: copied, compared and
// hashed as a whole.
struct Project
{
    QUuid id;
    QString name;
    QUrl path; // file URL of the project folder
    ProjectType type;
    std::optional<QString> customCommand;
    int port = 3000;
    std::optional<int> detectedPort;
    std::optional<PortSource> portSource;
    QList<Project> subprojects;
    std::optional<QString> relativePath;
    // The development framework detection found (a stable raw value) and the command that starts
    // it in this folder; both absent when none was recognised.
    std::optional<QString> framework;
    std::optional<QString> frameworkCommand;

    // The command that starts the project's server: the user's, else the framework's, else the
    // kind's.
    QString effectiveCommand() const;

    // The project folder as a local path, the text selections are compared by.
    QString folderPath() const { return path.toLocalFile(); }

    // JSON with the keys in declaration order; absent optionals are left out and "subprojects"
    // is always written.
    QByteArray toJson(QJsonDocument::JsonFormat format = QJsonDocument::Compact) const;
    static QByteArray toJson(const QList<Project>& projects,
                             QJsonDocument::JsonFormat format = QJsonDocument::Compact);
    // The same with each project's effective command last, under "effectiveCommand", for
    // people reading what a scan found; not decoded back.
    static QByteArray toReadableJson(const QList<Project>& projects);

    // Fails (nullopt, with a reason in `error`) when a required key is missing or mistyped.
    // Unknown keys are ignored.
    static std::optional<Project> fromJson(const QJsonObject& object, QString* error = nullptr);
    static std::optional<Project> fromJson(const QByteArray& json, QString* error = nullptr);

    bool operator==(const Project& other) const;
    bool operator!=(const Project& other) const { return !(*this == other); }
};

size_t qHash(const Project& project, size_t seed = 0);

Q_DECLARE_METATYPE(Project)
