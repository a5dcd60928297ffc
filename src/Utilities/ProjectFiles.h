#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>

// Reads the small text files of a project folder (.env, package.json, configuration files).
// Never blocks and never stalls: only regular files of at most 16 MiB are read; a FIFO, a
// device node, a folder or an oversized file counts as unreadable.
class ProjectFiles
{
public:
    static constexpr qint64 maxFileSize = 16 * 1024 * 1024;

    static std::optional<QByteArray> read(const QString& path);
    // The file's text when it is valid UTF-8.
    static std::optional<QString> readText(const QString& path);
    // The file's top-level JSON object, when it parses as one.
    static std::optional<QJsonObject> readJsonObject(const QString& path);
};
