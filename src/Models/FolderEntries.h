#pragma once

#include <QString>
#include <QStringList>
#include <Qt>

#include <optional>

// The entry names of one folder, looked up the way its file system looks names up: exactly on a
// case-sensitive folder, ignoring case on a case-insensitive one, where opening "index.html"
// opens "Index.html".
class FolderEntries
{
public:
    FolderEntries() = default;
    FolderEntries(QStringList names, Qt::CaseSensitivity caseSensitivity);

    // Every entry of the folder, hidden ones included, under the folder's own lookup rule;
    // nullopt when the folder cannot be listed.
    static std::optional<FolderEntries> read(const QString& folderPath,
                                             Qt::CaseSensitivity caseSensitivity);

    const QStringList& names() const { return entryNames; }
    Qt::CaseSensitivity caseSensitivity() const { return sensitivity; }

    // The listed name that a lookup of `name` finds: the exact name when it is listed, else
    // on a case-insensitive folder the first name equal to it ignoring case.
    std::optional<QString> find(const QString& name) const;
    bool contains(const QString& name) const { return find(name).has_value(); }

private:
    QStringList entryNames;
    Qt::CaseSensitivity sensitivity = Qt::CaseSensitive;
};
