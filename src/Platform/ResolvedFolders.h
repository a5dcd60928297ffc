#pragma once

#include <QDir>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <optional>
#include <utility>

// What resolving a folder's bookmark gave, kept by folder: on macOS the URL object that carries
// the security scope. A folder inside a kept one is reached through it, so a project folder
// inside the projects folder shares the projects folder's scope.
template <typename Handle>
class ResolvedFolders
{
public:
    enum class Match { exact, enclosing };

    // Replaces what was kept for the same folder.
    void keep(const QUrl& folder, Handle handle)
    {
        const QString path = key(folder);
        for (auto& entry : entries) {
            if (entry.first == path) {
                entry.second = std::move(handle);
                return;
            }
        }
        entries.append({path, std::move(handle)});
    }

    // The handle kept for the folder itself or, with Match::enclosing, for the innermost kept
    // folder around it.
    std::optional<Handle> find(const QUrl& folder, Match match) const
    {
        const QString path = key(folder);
        if (path.isEmpty()) {
            return std::nullopt;
        }
        const QPair<QString, Handle>* best = nullptr;
        for (const auto& entry : entries) {
            const bool same = entry.first == path;
            const bool encloses =
                match == Match::enclosing &&
                path.startsWith(entry.first == QLatin1String("/") ? entry.first
                                                                  : entry.first + u'/');
            if ((same || encloses) && (!best || entry.first.size() > best->first.size())) {
                best = &entry;
            }
        }
        return best ? std::optional<Handle>(best->second) : std::nullopt;
    }

private:
    static QString key(const QUrl& folder)
    {
        return folder.isLocalFile() ? QDir::cleanPath(folder.toLocalFile()) : QString();
    }

    QList<QPair<QString, Handle>> entries;
};
