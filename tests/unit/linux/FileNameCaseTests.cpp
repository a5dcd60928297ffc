#include "Platform/FileNameCase.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

TEST(FileNameCase, OrdinaryLinuxFolderLooksNamesUpExactly)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    EXPECT_EQ(FileNameCase::of(dir.path()), Qt::CaseSensitive);
}

TEST(FileNameCase, UnreadableOrMissingFolderGetsThePlatformRule)
{
    QTemporaryDir dir;
    EXPECT_EQ(FileNameCase::of(QDir(dir.path()).filePath(QStringLiteral("gone"))),
              Qt::CaseSensitive);
    EXPECT_EQ(FileNameCase::of(QString()), Qt::CaseSensitive);
}
