#pragma once

#include "Models/ProjectType.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

class FolderEntries;

// The development frameworks wisp knows, as data: each entry names the files that mark it, the
// dependencies that name it, how its development server starts and the port it listens on unless
// told otherwise. Project detection reads it within the kind it has already decided.
class FrameworkCatalogue
{
public:
    // One way to start the framework: used when `whenPresent` is in the folder (always when empty).
    struct Command
    {
        QString whenPresent;
        QString text;
    };

    struct Entry
    {
        QString id; // stable raw value, stored with the project
        QString displayName;
        ProjectType kind;
        // Any of these in the folder marks the framework ("name/" is a folder)...
        QStringList markers;
        // ...when one of these is there as well (no condition when empty).
        QStringList besideMarkers;
        // Any of these among the kind's dependencies names the framework.
        QStringList dependencies;
        // The first whose condition holds. A leading "python" is the project's interpreter.
        QList<Command> commands;
        // Node: scripts that hold the framework's own command when none of the usual ones exists,
        // and the text that shows a script runs it.
        QStringList scripts;
        QString scriptText;
        int defaultPort = 0;
        // Its markers make a project of `kind` of a folder that no kind's marker does.
        bool marksProject = false;
        // Node: only when none of the usual development scripts exists (a tool beside an app).
        bool onlyWithoutDevScript = false;
    };

    struct Match
    {
        QString id;
        QString displayName;
        ProjectType kind;
        QString command;
        int defaultPort = 0;
        // A port option written in the package script the command runs.
        std::optional<int> scriptPort;

        bool operator==(const Match&) const = default;
    };

    // Every entry, in detection order: specific frameworks before the tools they build on.
    static const QList<Entry>& entries();
    static const Entry* find(const QString& id);
    // The framework's name for views; the id itself for one this version does not know.
    static QString displayName(const QString& id);

    // Node scripts that start a development server, in the order they are preferred.
    static const QStringList& devScripts();

    // The framework of a project of `kind` in `folderPath`, whose listing is `entries`.
    // `searchPath` is where a server's shell looks for commands (it decides "python").
    static std::optional<Match> detect(const QString& folderPath, const FolderEntries& entries,
                                       ProjectType kind, const QStringList& searchPath);
    // The own commands of every framework whose files are in the folder, whatever the
    // project's kind (not the project's scripts), for the user to choose from.
    static QStringList commands(const QString& folderPath, const FolderEntries& entries,
                                const QStringList& searchPath);
    // The kind a framework's own files give a folder that no kind's marker claimed.
    static std::optional<ProjectType> projectKind(const QString& folderPath,
                                                  const FolderEntries& entries);

    // The interpreter "python" stands for in `folderPath`: the project's virtual environment's,
    // else "python" when a folder of `searchPath` has one, else "python3".
    static QString pythonInterpreter(const QString& folderPath, const FolderEntries& entries,
                                     const QStringList& searchPath);
};
