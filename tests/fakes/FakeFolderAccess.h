#pragma once

#include "Platform/FolderAccess.h"

#include <QList>

// Scripted security-scoped access: tests decide what resolution, creation and access return,
// and read back every call.
class FakeFolderAccess : public FolderAccess
{
public:
    // Resolution result for any bookmark data; nullopt makes resolution fail.
    std::optional<ResolvedBookmark> resolution;
    // Bookmark data returned by creation; nullopt makes creation fail with `creationError`.
    std::optional<QByteArray> createdBookmark = QByteArray("fresh-bookmark");
    QString creationError = QStringLiteral("The file couldn't be opened.");
    // The security-scoped kind fails, both to create and to resolve, as it can for an app outside
    // the sandbox; the plain kind still follows the fields above.
    bool refuseSecurityScope = false;
    QString securityScopeError = QStringLiteral("Failed to retrieve app-scope key");
    bool grantAccess = true;

    QList<QByteArray> resolvedData;
    QList<BookmarkKind> resolvedKinds;
    QList<QUrl> bookmarkedURLs;
    QList<BookmarkKind> bookmarkedKinds;
    QList<QUrl> startedURLs;
    QList<QUrl> stoppedURLs;

    std::optional<QByteArray> createBookmarkData(const QUrl& url, BookmarkKind kind,
                                                 QString* error) override
    {
        bookmarkedURLs.append(url);
        bookmarkedKinds.append(kind);
        if (kind == BookmarkKind::securityScoped && refuseSecurityScope) {
            if (error) {
                *error = securityScopeError;
            }
            return std::nullopt;
        }
        if (!createdBookmark && error) {
            *error = creationError;
        }
        return createdBookmark;
    }

    std::optional<ResolvedBookmark> resolveBookmarkData(const QByteArray& data,
                                                        BookmarkKind kind) override
    {
        resolvedData.append(data);
        resolvedKinds.append(kind);
        if (kind == BookmarkKind::securityScoped && refuseSecurityScope) {
            return std::nullopt;
        }
        return resolution;
    }

    bool startAccessing(const QUrl& url) override
    {
        startedURLs.append(url);
        return grantAccess;
    }

    void stopAccessing(const QUrl& url) override { stoppedURLs.append(url); }
};
