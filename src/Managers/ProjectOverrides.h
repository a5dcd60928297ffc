#pragma once

#include "Models/Project.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

#include <optional>

class SettingsManager;

// The start command and port a user set for single projects, keyed by the project's folder path
// and kept in the settings store as two JSON objects. A stored entry that cannot be used is
// logged once and skipped; the others stay in force, and a write drops nothing else.
class ProjectOverrides : public QObject
{
    Q_OBJECT
public:
    explicit ProjectOverrides(SettingsManager* settings, QObject* parent = nullptr);

    std::optional<QString> command(const QString& folderPath) const;
    std::optional<int> port(const QString& folderPath) const;

    // nullopt removes the override. A command that is only blanks removes it too; a port outside
    // 1 ... 65535 is refused with a log line.
    void setCommand(const QString& folderPath, const std::optional<QString>& command);
    void setPort(const QString& folderPath, const std::optional<int>& port);

    // `project` and its sub-projects with their overrides in force: a command becomes the
    // custom command, a port the port and detected port with source manual.
    Project applied(Project project) const;

    static bool isValidPort(int port) { return port >= 1 && port <= 65535; }

Q_SIGNALS:
    // A project's command or port override changed, whoever wrote the store.
    void changed(const QString& folderPath);

private:
    // The usable entries of one key, parsed again only when the stored bytes change, so that a
    // bad entry is logged once and not on every read.
    template <typename T>
    struct Cache
    {
        std::optional<QByteArray> raw;
        bool parsed = false;
        QHash<QString, T> entries;
    };

    const QHash<QString, QString>& commands() const;
    const QHash<QString, int>& ports() const;
    void settingsChanged(const QString& key);

    SettingsManager* settings;
    mutable Cache<QString> commandCache;
    mutable Cache<int> portCache;
    // Problems with the stored data already logged.
    mutable QSet<QString> reported;
};
