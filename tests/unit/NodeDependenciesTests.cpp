#include "Utilities/NodeDependencies.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class NodeDependenciesTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(folder.isValid()); }

    void write(const QString& name, const QByteArray& contents = "{}")
    {
        TestSupport::writeFile(folder.path(), name, contents);
    }

    QTemporaryDir folder;
};

} // namespace

TEST_F(NodeDependenciesTest, DeclaredDependenciesWithoutNodeModulesAreMissing)
{
    write(QStringLiteral("package.json"), R"({"dependencies": {"vite": "^5.0.0"}})");
    EXPECT_TRUE(NodeDependencies::missing(folder.path()));

    TestSupport::makeDir(folder.path(), QStringLiteral("node_modules"));
    EXPECT_FALSE(NodeDependencies::missing(folder.path()));
}

TEST_F(NodeDependenciesTest, DevDependenciesAloneCount)
{
    write(QStringLiteral("package.json"), R"({"devDependencies": {"vite": "^5.0.0"}})");
    EXPECT_TRUE(NodeDependencies::missing(folder.path()));
}

TEST_F(NodeDependenciesTest, NothingDeclaredOrNoReadablePackageJsonIsNotMissing)
{
    EXPECT_FALSE(NodeDependencies::missing(folder.path()));
    write(QStringLiteral("package.json"), R"({"dependencies": {}, "devDependencies": {}})");
    EXPECT_FALSE(NodeDependencies::missing(folder.path()));
    write(QStringLiteral("package.json"), "{ not json");
    EXPECT_FALSE(NodeDependencies::missing(folder.path()));
    write(QStringLiteral("package.json"), R"({"dependencies": ["vite"]})");
    EXPECT_FALSE(NodeDependencies::missing(folder.path()));
}

TEST_F(NodeDependenciesTest, LinkedNodeModulesCountsAsInstalled)
{
    write(QStringLiteral("package.json"), R"({"dependencies": {"vite": "^5.0.0"}})");
    QTemporaryDir installed;
    ASSERT_TRUE(QFile::link(installed.path(), QDir(folder.path()).filePath("node_modules")));
    EXPECT_FALSE(NodeDependencies::missing(folder.path()));
}

TEST_F(NodeDependenciesTest, TheLockfileNamesThePackageManager)
{
    const auto command = [&] {
        return NodeDependencies::installCommand(folder.path());
    };
    EXPECT_EQ(command(), (QStringList{QStringLiteral("npm"), QStringLiteral("install")}));
    write(QStringLiteral("package-lock.json"));
    EXPECT_EQ(command(), (QStringList{QStringLiteral("npm"), QStringLiteral("install")}));
    write(QStringLiteral("yarn.lock"), "");
    EXPECT_EQ(command(), (QStringList{QStringLiteral("yarn"), QStringLiteral("install")}));
    write(QStringLiteral("pnpm-lock.yaml"), "");
    EXPECT_EQ(command(), (QStringList{QStringLiteral("pnpm"), QStringLiteral("install")}));
    write(QStringLiteral("bun.lock"), "");
    EXPECT_EQ(command(), (QStringList{QStringLiteral("bun"), QStringLiteral("install")}));

    QTemporaryDir other;
    TestSupport::writeFile(other.path(), QStringLiteral("bun.lockb"), "x");
    EXPECT_EQ(NodeDependencies::installCommand(other.path()),
              (QStringList{QStringLiteral("bun"), QStringLiteral("install")}));
}
