#include "Utilities/ProjectToolchains.h"

#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// A project folder and a home with stand-in nvm and fnm folders of installed Node versions.
namespace {

class ProjectToolchainsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(project.isValid());
        ASSERT_TRUE(home.isValid());
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/local/bin:/usr/bin:/bin"));
        environment.insert(QStringLiteral("PYTHONHOME"), QStringLiteral("/somewhere/python"));
    }

    void inProject(const QString& name, const QByteArray& contents = {})
    {
        TestSupport::writeFile(project.path(), name, contents);
    }

    // A Node version as nvm installs it, under $HOME/.nvm unless NVM_DIR says otherwise.
    QString installWithNvm(const QString& version)
    {
        const QString bin =
            QDir(home.path()).filePath(QStringLiteral(".nvm/versions/node/%1/bin").arg(version));
        TestSupport::writeFile(bin, QStringLiteral("node"), "#!/bin/sh\n");
        return bin;
    }

    QString installWithFnm(const QString& root, const QString& version)
    {
        const QString bin =
            QDir(root).filePath(QStringLiteral("node-versions/%1/installation/bin").arg(version));
        TestSupport::writeFile(bin, QStringLiteral("node"), "#!/bin/sh\n");
        return bin;
    }

    void nvmAlias(const QString& name, const QByteArray& target)
    {
        TestSupport::writeFile(QDir(home.path()).filePath(QStringLiteral(".nvm/alias")), name,
                               target + "\n");
    }

    QProcessEnvironment applied() const
    {
        return ProjectToolchains::apply(project.path(), environment);
    }

    QString path() const { return applied().value(QStringLiteral("PATH")); }

    QString original() const { return environment.value(QStringLiteral("PATH")); }

    QString nodeLine(const QString& version, const QString& file, const QString& bin) const
    {
        return QStringLiteral("✅ [ProjectToolchains] Node %1 from %2: %3 comes first on PATH")
            .arg(version, file, bin);
    }

    QTemporaryDir project;
    QTemporaryDir home;
    QProcessEnvironment environment;
    LogCapture log;
};

TEST_F(ProjectToolchainsTest, AFolderWithoutToolchainFilesChangesNothing)
{
    EXPECT_EQ(applied(), environment);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(ProjectToolchainsTest, DotVenvComesFirstAsActivatingItWould)
{
    inProject(QStringLiteral(".venv/bin/python"), "#!/bin/sh\n");
    const QString venv = QDir(project.path()).filePath(QStringLiteral(".venv"));

    const QProcessEnvironment result = applied();

    EXPECT_EQ(result.value(QStringLiteral("PATH")), venv + QStringLiteral("/bin:") + original());
    EXPECT_EQ(result.value(QStringLiteral("VIRTUAL_ENV")), venv);
    EXPECT_FALSE(result.contains(QStringLiteral("PYTHONHOME")));
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("✅ [ProjectToolchains] Python virtual environment %1 "
                                         "comes first on PATH")
                              .arg(venv)});
}

TEST_F(ProjectToolchainsTest, VenvWithoutTheDotToo)
{
    inProject(QStringLiteral("venv/bin/python"), "#!/bin/sh\n");
    const QString venv = QDir(project.path()).filePath(QStringLiteral("venv"));

    EXPECT_EQ(applied().value(QStringLiteral("VIRTUAL_ENV")), venv);
    EXPECT_EQ(path(), venv + QStringLiteral("/bin:") + original());
}

TEST_F(ProjectToolchainsTest, AVenvFolderWithoutPythonIsNoVirtualEnvironment)
{
    inProject(QStringLiteral(".venv/lib/notes.txt"), "x");

    EXPECT_EQ(applied(), environment);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(ProjectToolchainsTest, NvmrcMajorVersionSelectsTheNewestInstalledMatch)
{
    installWithNvm(QStringLiteral("v18.19.0"));
    installWithNvm(QStringLiteral("v20.9.0"));
    const QString newest = installWithNvm(QStringLiteral("v20.11.1"));
    installWithNvm(QStringLiteral("v21.0.0"));
    inProject(QStringLiteral(".nvmrc"), "20\n");

    EXPECT_EQ(path(), newest + QLatin1Char(':') + original());
    EXPECT_EQ(log.lines(),
              QStringList{nodeLine(QStringLiteral("v20.11.1"), QStringLiteral(".nvmrc"), newest)});
}

TEST_F(ProjectToolchainsTest, VersionsWithVAndWithMinorNumbersMatchToo)
{
    installWithNvm(QStringLiteral("v20.9.0"));
    const QString eleven = installWithNvm(QStringLiteral("v20.11.1"));
    const QString nine =
        QDir(home.path()).filePath(QStringLiteral(".nvm/versions/node/v20.9.0/bin"));

    inProject(QStringLiteral(".nvmrc"), "v20\n");
    EXPECT_EQ(path(), eleven + QLatin1Char(':') + original());
    inProject(QStringLiteral(".nvmrc"), "20.9\n");
    EXPECT_EQ(path(), nine + QLatin1Char(':') + original());
    inProject(QStringLiteral(".nvmrc"), "# pinned\nv20.11.1 # LTS\n");
    EXPECT_EQ(path(), eleven + QLatin1Char(':') + original());
}

TEST_F(ProjectToolchainsTest, NodeVersionFileWithFnmInFnmDir)
{
    QTemporaryDir fnm;
    environment.insert(QStringLiteral("FNM_DIR"), fnm.path());
    installWithFnm(fnm.path(), QStringLiteral("v18.20.0"));
    const QString bin = installWithFnm(fnm.path(), QStringLiteral("v18.20.4"));
    inProject(QStringLiteral(".node-version"), "18");

    EXPECT_EQ(path(), bin + QLatin1Char(':') + original());
    EXPECT_EQ(log.lines(), QStringList{nodeLine(QStringLiteral("v18.20.4"),
                                                QStringLiteral(".node-version"), bin)});
}

TEST_F(ProjectToolchainsTest, FnmsDefaultPlaceInTheHome)
{
    const QString bin = installWithFnm(
        QDir(home.path()).filePath(QStringLiteral(".local/share/fnm")), QStringLiteral("v22.1.0"));
    inProject(QStringLiteral(".node-version"), "22.1.0\n");

    EXPECT_EQ(path(), bin + QLatin1Char(':') + original());
}

TEST_F(ProjectToolchainsTest, NvmDirFromTheEnvironment)
{
    QTemporaryDir nvm;
    environment.insert(QStringLiteral("NVM_DIR"), nvm.path());
    const QString bin = QDir(nvm.path()).filePath(QStringLiteral("versions/node/v20.1.0/bin"));
    TestSupport::writeFile(bin, QStringLiteral("node"), "#!/bin/sh\n");
    installWithNvm(QStringLiteral("v20.5.0")); // the default place, not nvm's here
    inProject(QStringLiteral(".nvmrc"), "20\n");

    EXPECT_EQ(path(), bin + QLatin1Char(':') + original());
}

TEST_F(ProjectToolchainsTest, AVersionThatIsNotInstalledLeavesThePathWithOneLine)
{
    installWithNvm(QStringLiteral("v20.11.1"));
    inProject(QStringLiteral(".nvmrc"), "22\n");

    EXPECT_EQ(applied(), environment);
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral(
                  "⚠️ [ProjectToolchains] Node 22 from .nvmrc is not installed with "
                  "nvm or fnm; the PATH stays as it is")});
}

TEST_F(ProjectToolchainsTest, NvmAliasesResolveThroughItsAliasFolder)
{
    const QString eighteen = installWithNvm(QStringLiteral("v18.19.0"));
    const QString twenty = installWithNvm(QStringLiteral("v20.11.1"));
    const QString newest = installWithNvm(QStringLiteral("v21.6.0"));
    nvmAlias(QStringLiteral("lts/*"), "lts/iron");
    nvmAlias(QStringLiteral("lts/iron"), "v20.11.1");
    nvmAlias(QStringLiteral("default"), "18");

    inProject(QStringLiteral(".nvmrc"), "lts/*\n");
    EXPECT_EQ(path(), twenty + QLatin1Char(':') + original());
    inProject(QStringLiteral(".nvmrc"), "default\n");
    EXPECT_EQ(path(), eighteen + QLatin1Char(':') + original());
    inProject(QStringLiteral(".nvmrc"), "node\n");
    EXPECT_EQ(path(), newest + QLatin1Char(':') + original());
}

TEST_F(ProjectToolchainsTest, AnAliasThatLeadsNowhereIsNotInstalled)
{
    installWithNvm(QStringLiteral("v20.11.1"));
    nvmAlias(QStringLiteral("mine"), "theirs");
    nvmAlias(QStringLiteral("theirs"), "mine");
    inProject(QStringLiteral(".nvmrc"), "mine\n");

    EXPECT_EQ(applied(), environment);
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral(
                  "⚠️ [ProjectToolchains] Node mine from .nvmrc is not installed with "
                  "nvm or fnm; the PATH stays as it is")});
}

TEST_F(ProjectToolchainsTest, SystemMeansTheNodeOnPath)
{
    installWithNvm(QStringLiteral("v20.11.1"));
    inProject(QStringLiteral(".nvmrc"), "system\n");

    EXPECT_EQ(applied(), environment);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(ProjectToolchainsTest, TheVirtualEnvironmentComesBeforeNode)
{
    const QString node = installWithNvm(QStringLiteral("v20.11.1"));
    inProject(QStringLiteral(".nvmrc"), "20\n");
    inProject(QStringLiteral(".venv/bin/python"), "#!/bin/sh\n");

    EXPECT_EQ(path(), QDir(project.path()).filePath(QStringLiteral(".venv/bin")) +
                          QLatin1Char(':') + node + QLatin1Char(':') + original());
}

TEST(ProjectToolchainsMatch, NewestOfThoseThatBeginWithTheWantedNumbers)
{
    const QStringList installed{QStringLiteral("v20.9.0"), QStringLiteral("v20.11.1"),
                                QStringLiteral("v20.100.0"), QStringLiteral("v2.0.0"),
                                QStringLiteral("notes")};
    EXPECT_EQ(ProjectToolchains::newestMatch(QStringLiteral("20"), installed),
              QStringLiteral("v20.100.0"));
    EXPECT_EQ(ProjectToolchains::newestMatch(QStringLiteral("v20.11"), installed),
              QStringLiteral("v20.11.1"));
    EXPECT_EQ(ProjectToolchains::newestMatch(QStringLiteral("2"), installed),
              QStringLiteral("v2.0.0"));
    EXPECT_EQ(ProjectToolchains::newestMatch(QStringLiteral("20.1"), installed), QString());
    EXPECT_EQ(ProjectToolchains::newestMatch(QStringLiteral("lts/*"), installed), QString());
}

} // namespace
