#include "Models/FolderEntries.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using TestSupport::writeFile;

TEST(FolderEntries, CaseSensitiveFolderFindsExactNamesOnly)
{
    const FolderEntries entries({QStringLiteral("Index.html"), QStringLiteral("gemfile")},
                                Qt::CaseSensitive);
    EXPECT_FALSE(entries.find(QStringLiteral("index.html")).has_value());
    EXPECT_FALSE(entries.contains(QStringLiteral("Gemfile")));
    EXPECT_EQ(entries.find(QStringLiteral("Index.html")), QStringLiteral("Index.html"));
}

TEST(FolderEntries, CaseInsensitiveFolderFindsTheListedSpelling)
{
    const FolderEntries entries({QStringLiteral("Index.html"), QStringLiteral("gemfile")},
                                Qt::CaseInsensitive);
    EXPECT_EQ(entries.find(QStringLiteral("index.html")), QStringLiteral("Index.html"));
    EXPECT_EQ(entries.find(QStringLiteral("Gemfile")), QStringLiteral("gemfile"));
    EXPECT_FALSE(entries.contains(QStringLiteral("Gemfile.lock")));
    EXPECT_FALSE(entries.contains(QStringLiteral("index.htm")));
}

TEST(FolderEntries, ExactSpellingIsPreferredWhenSeveralMatch)
{
    // A case-sensitive folder shared over a case-insensitive view can list both.
    const FolderEntries entries(
        {QStringLiteral("ENV"), QStringLiteral(".Env"), QStringLiteral(".env")},
        Qt::CaseInsensitive);
    EXPECT_EQ(entries.find(QStringLiteral(".env")), QStringLiteral(".env"));
    EXPECT_EQ(entries.find(QStringLiteral(".ENV")), QStringLiteral(".Env"));
}

TEST(FolderEntries, ReadListsEveryEntryHiddenOnesIncluded)
{
    QTemporaryDir dir;
    writeFile(dir.path(), QStringLiteral(".env"), "PORT=1");
    writeFile(dir.path(), QStringLiteral("sub/file"), "x");
    const auto entries = FolderEntries::read(dir.path(), Qt::CaseInsensitive);
    ASSERT_TRUE(entries.has_value());
    QStringList names = entries->names();
    names.sort();
    EXPECT_EQ(names, (QStringList{QStringLiteral(".env"), QStringLiteral("sub")}));
    EXPECT_EQ(entries->caseSensitivity(), Qt::CaseInsensitive);
}

TEST(FolderEntries, MissingFolderCannotBeRead)
{
    QTemporaryDir dir;
    EXPECT_FALSE(
        FolderEntries::read(QDir(dir.path()).filePath(QStringLiteral("gone")), Qt::CaseSensitive)
            .has_value());
}
