#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

// Security-scoped access to a folder the user chose. macOS keeps a security-scoped bookmark and
// brackets reads with start/stop access; Linux stores the plain path and always grants access.
class FolderAccess
{
public:
    struct ResolvedBookmark
    {
        QUrl url;
        bool isStale = false;
    };

    virtual ~FolderAccess() = default;

    // Bookmark data for `url`; nullopt with a description in `error` on failure.
    virtual std::optional<QByteArray> createBookmark(const QUrl& url, QString* error) = 0;
    // nullopt when the data no longer resolves to a folder.
    virtual std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& data) = 0;
    // True when access was granted; every granted start is paired with a stop.
    virtual bool startAccessing(const QUrl& url) = 0;
    virtual void stopAccessing(const QUrl& url) = 0;

    // The platform's own implementation.
    static std::shared_ptr<FolderAccess> makeSystemFolderAccess();
};
