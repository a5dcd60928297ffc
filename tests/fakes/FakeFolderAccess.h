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
    // Bookmark data returned by createBookmark; nullopt makes creation fail with `creationError`.
    std::optional<QByteArray> createdBookmark = QByteArray("fresh-bookmark");
    QString creationError = QStringLiteral("The file couldn't be opened.");
    bool grantAccess = true;

    QList<QByteArray> resolvedData;
    QList<QUrl> bookmarkedURLs;
    QList<QUrl> startedURLs;
    QList<QUrl> stoppedURLs;

    std::optional<QByteArray> createBookmark(const QUrl& url, QString* error) override
    {
        bookmarkedURLs.append(url);
        if (!createdBookmark && error) {
            *error = creationError;
        }
        return createdBookmark;
    }

    std::optional<ResolvedBookmark> resolveBookmark(const QByteArray& data) override
    {
        resolvedData.append(data);
        return resolution;
    }

    bool startAccessing(const QUrl& url) override
    {
        startedURLs.append(url);
        return grantAccess;
    }

    void stopAccessing(const QUrl& url) override { stoppedURLs.append(url); }
};
