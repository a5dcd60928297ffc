#include "Platform/FolderAccess.h"

#include "support/QtPrinters.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Linux has no security scope: the system adapter declines the scoped kind, so every bookmark
// goes through the fallback to the plain one, the folder's path.
TEST(LinuxFolderAccess, BookmarksAreThePlainPathThroughTheFallback)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QUrl folder = QUrl::fromLocalFile(dir.path());
    const auto access = FolderAccess::makeSystemFolderAccess();

    QString error;
    EXPECT_FALSE(
        access->createBookmarkData(folder, FolderAccess::BookmarkKind::securityScoped, &error)
            .has_value());
    EXPECT_EQ(error, QStringLiteral("Security-scoped bookmarks do not exist on Linux"));

    error.clear();
    const auto bookmark = access->createBookmark(folder, &error);
    ASSERT_TRUE(bookmark.has_value());
    EXPECT_EQ(*bookmark, QDir::cleanPath(dir.path()).toUtf8());
    EXPECT_TRUE(error.isEmpty());

    const auto resolved = access->resolveBookmark(*bookmark);
    ASSERT_TRUE(resolved.has_value());
    EXPECT_EQ(resolved->url, folder);
    EXPECT_FALSE(resolved->isStale);
    EXPECT_FALSE(resolved->isSecurityScoped);
    EXPECT_TRUE(access->startAccessing(folder));
    access->stopAccessing(folder);
}

TEST(LinuxFolderAccess, AMissingFolderDoesNotResolve)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const auto access = FolderAccess::makeSystemFolderAccess();
    EXPECT_FALSE(
        access->resolveBookmark(dir.filePath(QStringLiteral("gone")).toUtf8()).has_value());
    EXPECT_FALSE(access->resolveBookmark(QByteArray("relative/path")).has_value());
}
