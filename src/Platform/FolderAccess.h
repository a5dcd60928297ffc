#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

// Security-scoped access to a folder the user chose. macOS keeps a security-scoped bookmark where
// it can make one, and a plain one where it cannot (outside the sandbox the scoped kind can fail),
// and brackets reads with start/stop access; Linux stores the plain path and always grants access.
class FolderAccess
{
public:
    enum class BookmarkKind {
        securityScoped,
        plain,
    };

    struct ResolvedBookmark
    {
        QUrl url;
        bool isStale = false;
        // Whether the data resolved as a security-scoped bookmark; only such a folder has a scope
        // to start.
        bool isSecurityScoped = false;
    };

    virtual ~FolderAccess() = default;

    // Bookmark data of the given kind for `url`; nullopt with a description in `error` on failure.
    virtual std::optional<QByteArray> createBookmarkData(const QUrl& url, BookmarkKind kind,
                                                         QString* error) = 0;
    // Resolves data as a bookmark of the given kind; nullopt when it does not resolve so.
    virtual std::optional<ResolvedBookmark> resolveBookmarkData(const QByteArray& data,
                                                                BookmarkKind kind) = 0;
    // True when access was granted; every granted start is paired with a stop.
    virtual bool startAccessing(const QUrl& url) = 0;
    virtual void stopAccessing(const QUrl& url) = 0;

    // A security-scoped bookmark for `url`, else a plain one; nullopt with the plain attempt's
    // description in `error` when neither can be made.
    std::optional<QByteArray> createBookmark(const QUrl& url, QString* error)
    {
        QString scopedError;
        if (auto data = createBookmarkData(url, BookmarkKind::securityScoped, &scopedError)) {
            return data;
        }
        return createBookmarkData(url, BookmarkKind::plain, error);
    }

    // The data resolved as a security-scoped bookmark, else as a plain one; nullopt when it no
    // longer resolves to a folder either way.
    std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& data)
    {
        if (auto scoped = resolveBookmarkData(data, BookmarkKind::securityScoped)) {
            scoped->isSecurityScoped = true;
            return scoped;
        }
        auto plain = resolveBookmarkData(data, BookmarkKind::plain);
        if (plain) {
            plain->isSecurityScoped = false;
        }
        return plain;
    }

    // The platform's own implementation.
    static std::shared_ptr<FolderAccess> makeSystemFolderAccess();
};
