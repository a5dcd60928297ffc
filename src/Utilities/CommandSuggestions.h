#pragma once

#include <QString>
#include <QStringList>
#include <Qt>

class FolderEntries;

// Start commands a project's own files suggest: its package.json scripts, run with the package
// manager its lockfile names, and the usual development command of the frameworks whose marker
// files are there. Only offered to the user; the kind's default command is not among them.
// Reads a few small files at most (see ProjectFiles) and may run on any thread.
class CommandSuggestions
{
public:
    // At most this many package.json scripts are offered.
    static constexpr int maxScripts = 40;

    // `folderPath` is the project folder's absolute local path, whose file names are looked up
    // by `nameCase` (the folder's file system's rule). Without duplicates, scripts first, then
    // the commands of every framework the folder's files name. `searchPath` is where servers
    // look for commands; it decides whether those run "python" or "python3".
    static QStringList forProject(const QString& folderPath, Qt::CaseSensitivity nameCase,
                                  const QStringList& searchPath = {});

    // "bun", "pnpm", "yarn" or "npm", from the lockfile in the folder, else from package.json's
    // "packageManager" field; npm when nothing names one.
    static QString packageManager(const QString& folderPath, const FolderEntries& entries);
    // The command that runs `script` with `manager` (or a deno task with "deno"); a name the
    // shell would split is quoted.
    static QString scriptCommand(const QString& manager, const QString& script);

private:
    static QStringList scriptCommands(const QString& folderPath, const FolderEntries& entries);
    static QStringList frameworkCommands(const QString& folderPath, const FolderEntries& entries);
};
