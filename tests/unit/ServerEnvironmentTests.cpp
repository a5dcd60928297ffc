#include "Managers/ServerEnvironment.h"

#include "fakes/FakeShellEnvironment.h"
#include "fakes/Gate.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoro/QCoroTask>
#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

// What a server's environment is made of: wisp's own, the login shell's answer (asked once per
// run, again after a refresh) and the project's toolchains.
using namespace std::chrono_literals;

namespace {

const QString fixedPath =
    QStringLiteral("/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin:/opt/homebrew/bin");

QProcessEnvironment ownEnvironment()
{
    QProcessEnvironment own;
    own.insert(QStringLiteral("PATH"), QStringLiteral("/wisp/own/bin:/usr/bin"));
    own.insert(QStringLiteral("HOME"), QStringLiteral("/home/me"));
    own.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    return own;
}

QProcessEnvironment shellEnvironment()
{
    QProcessEnvironment shell;
    shell.insert(QStringLiteral("PATH"),
                 QStringLiteral("/home/me/.nvm/versions/node/v20.11.1/bin:/usr/bin:/bin:"
                                "/home/me/go/bin"));
    shell.insert(QStringLiteral("HOME"), QStringLiteral("/home/shell-says"));
    shell.insert(QStringLiteral("NVM_DIR"), QStringLiteral("/home/me/.nvm"));
    shell.insert(QStringLiteral("GOPATH"), QStringLiteral("/home/me/go"));
    shell.insert(QStringLiteral("PWD"), QStringLiteral("/home/me"));
    shell.insert(QStringLiteral("OLDPWD"), QStringLiteral("/"));
    shell.insert(QStringLiteral("SHLVL"), QStringLiteral("1"));
    shell.insert(QStringLiteral("_"), QStringLiteral("/usr/bin/env"));
    return shell;
}

TEST(ServerEnvironmentCombine, WithoutAShellThePathIsTheFixedOneAndTheRestPasses)
{
    QProcessEnvironment expected = ownEnvironment();
    expected.insert(QStringLiteral("PATH"), fixedPath);

    EXPECT_EQ(ServerEnvironment::combine(ownEnvironment(), std::nullopt), expected);
}

TEST(ServerEnvironmentCombine, TheShellsPathThenTheFixedDirectoriesItLacksAndItsOwnVariables)
{
    QProcessEnvironment expected = ownEnvironment();
    expected.insert(QStringLiteral("PATH"),
                    QStringLiteral("/home/me/.nvm/versions/node/v20.11.1/bin:/usr/bin:/bin:"
                                   "/home/me/go/bin:/usr/local/bin:/usr/sbin:/sbin:"
                                   "/opt/homebrew/bin"));
    expected.insert(QStringLiteral("NVM_DIR"), QStringLiteral("/home/me/.nvm"));
    expected.insert(QStringLiteral("GOPATH"), QStringLiteral("/home/me/go"));

    // wisp's own HOME stays; the shell's bookkeeping (PWD, SHLVL, ...) is left out.
    EXPECT_EQ(ServerEnvironment::combine(ownEnvironment(), shellEnvironment()), expected);
}

TEST(ServerEnvironmentCombine, AShellWithoutPathGivesTheFixedDirectories)
{
    QProcessEnvironment shell;
    shell.insert(QStringLiteral("GOPATH"), QStringLiteral("/go"));

    const QProcessEnvironment combined = ServerEnvironment::combine(ownEnvironment(), shell);

    EXPECT_EQ(combined.value(QStringLiteral("PATH")), fixedPath);
    EXPECT_EQ(combined.value(QStringLiteral("GOPATH")), QStringLiteral("/go"));
}

class ServerEnvironmentTest : public ::testing::Test
{
protected:
    QProcessEnvironment forProject(const QString& folder)
    {
        return QCoro::waitFor(environment->forProject(folder));
    }

    QTemporaryDir project;
    std::shared_ptr<FakeShellEnvironment> shell =
        std::make_shared<FakeShellEnvironment>(shellEnvironment());
    std::shared_ptr<ServerEnvironment> environment =
        std::make_shared<ServerEnvironment>(shell, ownEnvironment());
    LogCapture log;
};

TEST_F(ServerEnvironmentTest, TheShellIsAskedAtTheFirstStartOnly)
{
    EXPECT_EQ(shell->asked, 0);

    const QProcessEnvironment first = forProject(project.path());
    const QProcessEnvironment second = forProject(project.path());

    EXPECT_EQ(shell->asked, 1);
    EXPECT_EQ(first, ServerEnvironment::combine(ownEnvironment(), shellEnvironment()));
    EXPECT_EQ(second, first);
}

TEST_F(ServerEnvironmentTest, StartsMeanwhileWaitForTheSameAnswer)
{
    Gate gate;
    shell->gate = &gate;
    std::optional<QProcessEnvironment> first;
    std::optional<QProcessEnvironment> second;
    auto collect = [this](std::optional<QProcessEnvironment>* into) -> QCoro::Task<> {
        *into = co_await environment->forProject(project.path());
    };
    collect(&first);
    collect(&second);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return gate.waiting == 1; }, 5s));

    gate.open();

    ASSERT_TRUE(TestSupport::waitUntil([&] { return first && second; }, 5s));
    EXPECT_EQ(shell->asked, 1);
    EXPECT_EQ(*first, *second);
}

TEST_F(ServerEnvironmentTest, AFailedShellIsNotAskedAgainInTheSameRun)
{
    shell->answer = std::nullopt;

    forProject(project.path());
    const QProcessEnvironment second = forProject(project.path());

    EXPECT_EQ(shell->asked, 1);
    EXPECT_EQ(second.value(QStringLiteral("PATH")), fixedPath);
}

TEST_F(ServerEnvironmentTest, RefreshAsksAgainAtOnceAndKeepsTheNewAnswer)
{
    forProject(project.path());
    QProcessEnvironment installedSince = shellEnvironment();
    installedSince.insert(QStringLiteral("PATH"), QStringLiteral("/home/me/.bun/bin:/usr/bin"));
    shell->answer = installedSince;

    environment->refresh();

    EXPECT_TRUE(TestSupport::waitUntil([&] { return shell->asked == 2; }, 5s));
    EXPECT_EQ(
        forProject(project.path()).value(QStringLiteral("PATH")).section(QLatin1Char(':'), 0, 0),
        QStringLiteral("/home/me/.bun/bin"));
    EXPECT_EQ(shell->asked, 2);
}

TEST_F(ServerEnvironmentTest, RefreshBeforeAnyStartAsksNothing)
{
    environment->refresh();
    QCoreApplication::processEvents();

    EXPECT_EQ(shell->asked, 0);
    forProject(project.path());
    EXPECT_EQ(shell->asked, 1);
}

TEST_F(ServerEnvironmentTest, TheProjectsToolchainsComeOnTop)
{
    TestSupport::writeFile(project.path(), QStringLiteral(".venv/bin/python"), "#!/bin/sh\n");

    const QProcessEnvironment result = forProject(project.path());

    const QString venv = QDir(project.path()).filePath(QStringLiteral(".venv"));
    EXPECT_EQ(result.value(QStringLiteral("VIRTUAL_ENV")), venv);
    EXPECT_EQ(result.value(QStringLiteral("PATH")),
              venv + QStringLiteral("/bin:") +
                  ServerEnvironment::combine(ownEnvironment(), shellEnvironment())
                      .value(QStringLiteral("PATH")));
}

} // namespace
