#include "Models/FolderEntries.h"

#include <QDir>

FolderEntries::FolderEntries(QStringList names, Qt::CaseSensitivity caseSensitivity)
    : entryNames(std::move(names)), sensitivity(caseSensitivity)
{}

std::optional<FolderEntries> FolderEntries::read(const QString& folderPath,
                                                 Qt::CaseSensitivity caseSensitivity)
{
    const QDir folder(folderPath);
    if (!folder.isReadable()) {
        return std::nullopt;
    }
    return FolderEntries(
        folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDir::NoSort),
        caseSensitivity);
}

std::optional<QString> FolderEntries::find(const QString& name) const
{
    if (entryNames.contains(name)) {
        return name;
    }
    if (sensitivity == Qt::CaseInsensitive) {
        for (const QString& entry : entryNames) {
            if (entry.compare(name, Qt::CaseInsensitive) == 0) {
                return entry;
            }
        }
    }
    return std::nullopt;
}
