#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <Qt>

#include <optional>

class FolderEntries;

// The kind of a project, decided from marker files in its folder. Stored by raw value.
class ProjectType
{
public:
    // Declaration order is the detection order; `static_` is the raw value "static".
    enum Value { nodejs, rust, go, ruby, python, php, java, static_, unknown };

    constexpr ProjectType(Value value = unknown) : value(value) {}
    constexpr operator Value() const { return value; }

    static QList<ProjectType> allCases();
    static std::optional<ProjectType> fromRawValue(const QString& raw);

    QString rawValue() const;
    // The marker file that identifies the kind; empty for unknown.
    QString markerFile() const;
    QString defaultCommand() const;
    // Human-readable name for views ("Node.js", "Static site", ...).
    QString displayName() const;

    // Decides the kind of the folder at `folderPath` (an absolute local path). Marker names are
    // matched by `nameCase`, the rule by which the folder's file system looks names up (the
    // platform's FileNameCase tells it).
    static ProjectType detect(const QString& folderPath, Qt::CaseSensitivity nameCase);
    // The same decision from a listing of the folder the caller already has.
    static ProjectType detect(const QString& folderPath, const FolderEntries& entries);

private:
    Value value;
};
