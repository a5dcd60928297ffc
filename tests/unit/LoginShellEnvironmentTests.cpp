#include "Platform/LoginShellEnvironment.h"

#include "ServerTestSupport.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoro/QCoroTask>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

// The real shells (sh, bash, zsh) as login shells of a private home whose rc files set PATH the
// way the usual installers do.
using namespace std::chrono_literals;

namespace {

QString systemShell(const QString& name)
{
    return QStandardPaths::findExecutable(name,
                                          {QStringLiteral("/bin"), QStringLiteral("/usr/bin")});
}

class LoginShellEnvironmentTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(home.isValid()); }

    void write(const QString& name, const QByteArray& contents)
    {
        TestSupport::writeFile(home.path(), name, contents);
    }

    QString inHome(const QString& name) const { return QDir(home.path()).filePath(name); }

    // What wisp would start the shell with: this home, `shell`, and nothing that names other rc
    // files.
    QProcessEnvironment startEnvironment(const QString& shell) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("SHELL"), shell);
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
        for (const QString& name : {QStringLiteral("ZDOTDIR"), QStringLiteral("ENV"),
                                    QStringLiteral("BASH_ENV"), QStringLiteral("NVM_DIR")}) {
            environment.remove(name);
        }
        return environment;
    }

    std::optional<QProcessEnvironment> resolve(const QString& shell,
                                               std::chrono::milliseconds deadline = 10s)
    {
        LoginShellEnvironment source(startEnvironment(shell), deadline);
        return QCoro::waitFor(source.resolve());
    }

    static QStringList pathOf(const std::optional<QProcessEnvironment>& environment)
    {
        return environment ? environment->value(QStringLiteral("PATH")).split(QLatin1Char(':'))
                           : QStringList();
    }

    // The one line of a shell that answered, with its PATH entries counted.
    void expectAnswered(const QString& shell, const std::optional<QProcessEnvironment>& environment)
    {
        ASSERT_TRUE(environment.has_value()) << log.lines().join('\n').toStdString();
        ASSERT_EQ(log.lines().size(), 1) << log.lines().join('\n').toStdString();
        const QRegularExpression pattern(
            QStringLiteral("^✅ \\[ShellEnvironment\\] Login shell %1 answered in \\d+ ms with "
                           "%2 PATH entries$")
                .arg(QRegularExpression::escape(shell))
                .arg(environment->value(QStringLiteral("PATH"))
                         .split(QLatin1Char(':'), Qt::SkipEmptyParts)
                         .size()));
        EXPECT_TRUE(pattern.match(log.lines().first()).hasMatch())
            << log.lines().first().toStdString();
    }

    QTemporaryDir home;
    LogCapture log;
};

TEST_F(LoginShellEnvironmentTest, GoInstructionsInProfileReachTheEndOfPathWithSh)
{
    // As Go's installation instructions say, with the tarball unpacked in the home.
    write(QStringLiteral(".profile"), "export PATH=$PATH:$HOME/usr-local-go/bin\n");

    const auto environment = resolve(QStringLiteral("/bin/sh"));

    expectAnswered(QStringLiteral("/bin/sh"), environment);
    EXPECT_EQ(pathOf(environment).last(), inHome(QStringLiteral("usr-local-go/bin")));
}

TEST_F(LoginShellEnvironmentTest, RustupsCargoEnvSourcedFromProfileComesFirstWithBash)
{
    const QString bash = systemShell(QStringLiteral("bash"));
    ASSERT_FALSE(bash.isEmpty());
    // What rustup's installer writes.
    write(QStringLiteral(".cargo/env"), R"(#!/bin/sh
# rustup shell setup
# affix colons on either side of $PATH to simplify matching
case ":${PATH}:" in
    *:"$HOME/.cargo/bin":*)
        ;;
    *)
        # Prepending path in case a system-installed rustc needs to be overridden
        export PATH="$HOME/.cargo/bin:$PATH"
        ;;
esac
)");
    write(QStringLiteral(".profile"), ". \"$HOME/.cargo/env\"\n");

    const auto environment = resolve(bash);

    expectAnswered(bash, environment);
    EXPECT_EQ(pathOf(environment).first(), inHome(QStringLiteral(".cargo/bin")));
}

TEST_F(LoginShellEnvironmentTest, NvmFromAnInteractiveOnlyBashrcCounts)
{
    const QString bash = systemShell(QStringLiteral("bash"));
    ASSERT_FALSE(bash.isEmpty());
    // Debian's own ~/.profile and the head of its ~/.bashrc, then the lines nvm's installer adds.
    write(QStringLiteral(".profile"), R"(if [ -n "$BASH_VERSION" ]; then
    if [ -f "$HOME/.bashrc" ]; then
        . "$HOME/.bashrc"
    fi
fi
)");
    write(QStringLiteral(".bashrc"), R"(# If not running interactively, don't do anything
case $- in
    *i*) ;;
      *) return;;
esac
export NVM_DIR="$HOME/.nvm"
[ -s "$NVM_DIR/nvm.sh" ] && \. "$NVM_DIR/nvm.sh"  # This loads nvm
)");
    // nvm.sh puts the default version's folder first.
    write(QStringLiteral(".nvm/nvm.sh"),
          "export PATH=\"$NVM_DIR/versions/node/v20.11.1/bin:$PATH\"\n");

    const auto environment = resolve(bash);

    expectAnswered(bash, environment);
    EXPECT_EQ(environment->value(QStringLiteral("NVM_DIR")), inHome(QStringLiteral(".nvm")));
    EXPECT_EQ(pathOf(environment).first(),
              inHome(QStringLiteral(".nvm/versions/node/v20.11.1/bin")));
}

TEST_F(LoginShellEnvironmentTest, ZshReadsItsLoginAndItsInteractiveFiles)
{
    const QString zsh = systemShell(QStringLiteral("zsh"));
    ASSERT_FALSE(zsh.isEmpty()) << "zsh is not installed";
    write(QStringLiteral(".zprofile"), "export PATH=\"$HOME/login-tools:$PATH\"\n");
    write(QStringLiteral(".zshrc"),
          "export PATH=\"$HOME/interactive-tools:$PATH\"\nexport PYENV_ROOT=\"$HOME/.pyenv\"\n");

    const auto environment = resolve(zsh);

    expectAnswered(zsh, environment);
    const QStringList path = pathOf(environment);
    ASSERT_GE(path.size(), 2);
    EXPECT_EQ(path.mid(0, 2), (QStringList{inHome(QStringLiteral("interactive-tools")),
                                           inHome(QStringLiteral("login-tools"))}));
    EXPECT_EQ(environment->value(QStringLiteral("PYENV_ROOT")), inHome(QStringLiteral(".pyenv")));
}

TEST_F(LoginShellEnvironmentTest, FishReadsItsConfig)
{
    const QString fish = systemShell(QStringLiteral("fish"));
    ASSERT_FALSE(fish.isEmpty()) << "fish is not installed";
    write(QStringLiteral(".config/fish/config.fish"),
          "set -gx PATH $HOME/fish-tools $PATH\nset -gx GOPATH $HOME/go\necho hello from fish\n");

    QProcessEnvironment start = startEnvironment(fish);
    start.insert(QStringLiteral("XDG_CONFIG_HOME"), inHome(QStringLiteral(".config")));
    LoginShellEnvironment source(start);
    const auto environment = QCoro::waitFor(source.resolve());

    expectAnswered(fish, environment);
    EXPECT_EQ(pathOf(environment).first(), inHome(QStringLiteral("fish-tools")));
    EXPECT_EQ(environment->value(QStringLiteral("GOPATH")), inHome(QStringLiteral("go")));
}

TEST_F(LoginShellEnvironmentTest, TextThatRcFilesPrintDoesNotMatter)
{
    write(QStringLiteral(".profile"), R"(echo "Welcome to your shell"
printf 'PATH=/nowhere no line break'
echo "GOPATH=/printed/not/set" >&2
printf 'a\000b=c\000'
export GOPATH="$HOME/go"
)");

    const auto environment = resolve(QStringLiteral("/bin/sh"));

    expectAnswered(QStringLiteral("/bin/sh"), environment);
    EXPECT_EQ(environment->value(QStringLiteral("GOPATH")), inHome(QStringLiteral("go")));
    EXPECT_FALSE(pathOf(environment).contains(QStringLiteral("/nowhere no line break")));
    EXPECT_FALSE(environment->contains(QStringLiteral("a")));
}

TEST_F(LoginShellEnvironmentTest, AShellThatFailsGivesNothingAndOneLine)
{
    write(QStringLiteral(".profile"), "echo broken\nexit 3\n");

    EXPECT_EQ(resolve(QStringLiteral("/bin/sh")), std::nullopt);

    EXPECT_EQ(log.lines(), QStringList{QStringLiteral(
                               "⚠️ [ShellEnvironment] Login shell /bin/sh failed with exit "
                               "status 3; servers get the fixed PATH")});
}

TEST_F(LoginShellEnvironmentTest, AShellThatCannotStartGivesNothingAndOneLine)
{
    const QString missing = inHome(QStringLiteral("no-such-shell"));

    EXPECT_EQ(resolve(missing), std::nullopt);

    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral("⚠️ [ShellEnvironment] Login shell %1 could not be "
                                         "started (execve: No such file or directory); servers "
                                         "get the fixed PATH")
                              .arg(missing)});
}

TEST_F(LoginShellEnvironmentTest, AShellThatHangsIsEndedAtTheDeadline)
{
    // A length of its own, so that only this test's sleep is looked for.
    const QString length =
        QStringLiteral("86399.%1").arg(QRandomGenerator::global()->bounded(100000000, 999999999));
    write(QStringLiteral(".profile"), "sleep " + length.toUtf8() + "\n");
    const auto deadline = 300ms;

    QElapsedTimer clock;
    clock.start();
    const auto environment = resolve(QStringLiteral("/bin/sh"), deadline);
    const qint64 elapsed = clock.elapsed();

    EXPECT_EQ(environment, std::nullopt);
    EXPECT_EQ(log.lines(),
              QStringList{QStringLiteral(
                  "⚠️ [ShellEnvironment] Login shell /bin/sh did not answer within "
                  "0.3 s; servers get the fixed PATH")});
    // Coarse timers may fire a little early.
    EXPECT_GE(elapsed, 250);
    EXPECT_LT(elapsed, 1500);
    // The rc file's own child went with the shell.
    EXPECT_TRUE(TestSupport::waitUntil(
        [&] {
            return ServerTests::processesRunning({QStringLiteral("sleep"), length}).isEmpty();
        },
        5s));
}

TEST_F(LoginShellEnvironmentTest, TheDefaultDeadlineIsTenSeconds)
{
    EXPECT_EQ(LoginShellEnvironment::defaultDeadline, 10s);
    EXPECT_EQ(LoginShellEnvironment(startEnvironment(QStringLiteral("/bin/sh"))).deadline(), 10s);
}

TEST_F(LoginShellEnvironmentTest, WithoutShellTheAccountsShellIsAsked)
{
    QProcessEnvironment environment = startEnvironment(QStringLiteral("/bin/sh"));
    environment.remove(QStringLiteral("SHELL"));
    const passwd* account = ::getpwuid(::getuid());
    ASSERT_NE(account, nullptr);
    const QString expected = QString::fromLocal8Bit(account->pw_shell);
    LoginShellEnvironment source(environment);

    EXPECT_EQ(source.shell(), expected.isEmpty() ? QStringLiteral("/bin/sh") : expected);
    const auto resolved = QCoro::waitFor(source.resolve());
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().startsWith(
        QStringLiteral("✅ [ShellEnvironment] Login shell %1 answered in ").arg(source.shell())))
        << log.lines().first().toStdString();
    EXPECT_TRUE(resolved.has_value());
}

TEST(LoginShellEnvironmentParse, ReadsOnlyBetweenTheMarkers)
{
    const auto environment = LoginShellEnvironment::parse(
        QByteArray("NOISE=1\0MARKA=1\0B=two\nlines=\0=nameless\0noequals\0MARK", 52),
        QByteArray("MARK"));
    ASSERT_TRUE(environment.has_value());
    EXPECT_EQ(environment->keys(), (QStringList{QStringLiteral("A"), QStringLiteral("B")}));
    EXPECT_EQ(environment->value(QStringLiteral("B")), QStringLiteral("two\nlines="));
}

TEST(LoginShellEnvironmentParse, WithoutBothMarkersThereIsNothing)
{
    EXPECT_EQ(LoginShellEnvironment::parse(QByteArray("A=1\0", 4), QByteArray("MARK")),
              std::nullopt);
    EXPECT_EQ(LoginShellEnvironment::parse(QByteArray("MARKA=1\0", 8), QByteArray("MARK")),
              std::nullopt);
}

} // namespace
