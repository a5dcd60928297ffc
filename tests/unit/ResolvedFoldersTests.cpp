#include "Platform/ResolvedFolders.h"

#include <gtest/gtest.h>

namespace {

using Folders = ResolvedFolders<int>;

QUrl folder(const char* path)
{
    return QUrl::fromLocalFile(QString::fromUtf8(path));
}

} // namespace

TEST(ResolvedFoldersTest, AFolderFindsWhatWasKeptForIt)
{
    Folders folders;
    folders.keep(folder("/Users/me/projects"), 1);
    EXPECT_EQ(folders.find(folder("/Users/me/projects"), Folders::Match::exact), 1);
    EXPECT_EQ(folders.find(folder("/Users/me/projects"), Folders::Match::enclosing), 1);
    // The same folder written another way.
    EXPECT_EQ(folders.find(folder("/Users/me/projects/"), Folders::Match::exact), 1);
    EXPECT_EQ(folders.find(folder("/Users/me/./other/../projects"), Folders::Match::exact), 1);
    EXPECT_EQ(folders.find(folder("/Users/me/other"), Folders::Match::enclosing), std::nullopt);
}

TEST(ResolvedFoldersTest, AFolderInsideAKeptOneIsReachedThroughItOnlyWhenAsked)
{
    Folders folders;
    folders.keep(folder("/Users/me/projects"), 1);
    EXPECT_EQ(folders.find(folder("/Users/me/projects/web/app"), Folders::Match::enclosing), 1);
    // A bookmark for a folder inside must be its own.
    EXPECT_EQ(folders.find(folder("/Users/me/projects/web"), Folders::Match::exact), std::nullopt);
    // A sibling whose name merely starts the same is not inside.
    EXPECT_EQ(folders.find(folder("/Users/me/projects-old"), Folders::Match::enclosing),
              std::nullopt);
    EXPECT_EQ(folders.find(folder("/Users/me"), Folders::Match::enclosing), std::nullopt);
}

TEST(ResolvedFoldersTest, TheInnermostKeptFolderWins)
{
    Folders folders;
    folders.keep(folder("/Users/me"), 1);
    folders.keep(folder("/Users/me/projects"), 2);
    folders.keep(folder("/"), 3);
    EXPECT_EQ(folders.find(folder("/Users/me/projects/web"), Folders::Match::enclosing), 2);
    EXPECT_EQ(folders.find(folder("/Users/me/notes"), Folders::Match::enclosing), 1);
    EXPECT_EQ(folders.find(folder("/tmp"), Folders::Match::enclosing), 3);
}

TEST(ResolvedFoldersTest, KeepingAFolderAgainReplacesItsHandle)
{
    Folders folders;
    folders.keep(folder("/Users/me/projects"), 1);
    folders.keep(folder("/Users/me/projects/"), 2);
    EXPECT_EQ(folders.find(folder("/Users/me/projects"), Folders::Match::exact), 2);
}

TEST(ResolvedFoldersTest, AddressesThatAreNoLocalFolderFindNothing)
{
    Folders folders;
    folders.keep(folder("/"), 1);
    EXPECT_EQ(folders.find(QUrl(QStringLiteral("https://example.com/")), Folders::Match::enclosing),
              std::nullopt);
    EXPECT_EQ(folders.find(QUrl(), Folders::Match::enclosing), std::nullopt);
}
