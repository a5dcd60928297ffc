#include "Managers/ServerManager.h"
#include "Platform/LoginShellEnvironment.h"

#include "ServerFixture.h"
#include "fakes/FakeShellEnvironment.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMutex>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>

// Servers started with the environment of a private home's login shell and the project's own
// toolchains: real shells, real servers.
using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

void writeScript(const QString& path, const QByteArray& contents)
{
    TestSupport::writeFile(QFileInfo(path).absolutePath(), QFileInfo(path).fileName(), contents);
    QFile::setPermissions(path,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

// Runs the TCP listener fixture with the arguments it was given, after saying `greeting`.
QByteArray listenerScript(const QByteArray& greeting)
{
    return "#!/bin/sh\necho \"" + greeting + "\"\nexec /usr/bin/python3 " +
           fixture(QStringLiteral("tcp_listener.py")).toUtf8() + " \"$@\"\n";
}

class ServerShellEnvironmentTest : public ServerFixture
{
protected:
    void SetUp() override
    {
        ServerFixture::SetUp();
        ASSERT_TRUE(home.isValid());
    }

    void TearDown() override
    {
        if (manager && manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
    }

    // The private home's /bin/sh as the login shell.
    std::shared_ptr<LoginShellEnvironment> loginShell(std::chrono::milliseconds deadline = 10s)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HOME"), home.path());
        environment.insert(QStringLiteral("SHELL"), QStringLiteral("/bin/sh"));
        for (const QString& name :
             {QStringLiteral("ZDOTDIR"), QStringLiteral("ENV"), QStringLiteral("BASH_ENV")}) {
            environment.remove(name);
        }
        return std::make_shared<LoginShellEnvironment>(environment, deadline);
    }

    std::optional<QString> start(const QString& command)
    {
        return startReaped(*manager, makeProject(folder.path(), port), command, reaper);
    }

    QString inHome(const QString& name) const { return QDir(home.path()).filePath(name); }

    QTemporaryDir home;
};

TEST_F(ServerShellEnvironmentTest, AToolOnlyOnTheLoginShellsPathStarts)
{
    TestSupport::writeFile(home.path(), QStringLiteral(".profile"),
                           "export PATH=\"$HOME/tools:$PATH\"\n");
    writeScript(inHome(QStringLiteral("tools/wisp-login-tool")), listenerScript("login tool ran"));
    manager->setShellEnvironment(loginShell());

    const auto error = start(QStringLiteral("wisp-login-tool %1").arg(port));

    EXPECT_EQ(error, std::nullopt) << log.lines().join('\n').toStdString();
    const QStringList lines = log.lines();
    const qsizetype starting =
        lines.indexOf(QStringLiteral("🚀 [ServerManager] Starting server: wisp-login-tool %1 in %2")
                          .arg(port)
                          .arg(QDir::cleanPath(folder.path())));
    const QStringList answered = log.linesStartingWith(
        QStringLiteral("✅ [ShellEnvironment] Login shell /bin/sh answered in "));
    ASSERT_EQ(answered.size(), 1) << lines.join('\n').toStdString();
    const qsizetype shellLine = lines.indexOf(answered.first());
    const qsizetype started = lines.indexOf(
        log.linesStartingWith(QStringLiteral("✅ [ServerManager] Server process started")).value(0));
    EXPECT_TRUE(starting >= 0 && starting < shellLine && shellLine < started)
        << lines.join('\n').toStdString();
    EXPECT_TRUE(
        log.contains(
            QStringLiteral("✅ [ServerManager] Server confirmed running on port %1 (attempt 1)")
                .arg(port)) ||
        log.contains(
            QStringLiteral("✅ [ServerManager] Server confirmed running on port %1 (attempt 2)")
                .arg(port)))
        << lines.join('\n').toStdString();
    EXPECT_EQ(manager->status(), ServerStatus::running);
}

TEST_F(ServerShellEnvironmentTest, AShellThatHangsDelaysTheStartOnlyUntilItsDeadline)
{
    const QString length =
        QStringLiteral("86399.%1").arg(QRandomGenerator::global()->bounded(100000000, 999999999));
    TestSupport::writeFile(home.path(), QStringLiteral(".profile"),
                           "sleep " + length.toUtf8() + "\n");
    manager->setShellEnvironment(loginShell(std::chrono::milliseconds(400)));
    // When the start began looking for its environment and when it launched the server.
    QMutex mutex;
    QElapsedTimer clock;
    clock.start();
    qint64 startingAt = -1;
    qint64 startedAt = -1;
    const int sink = Log::addSink([&](Log::Stream, const QString& line) {
        const QMutexLocker locker(&mutex);
        if (line.startsWith(QStringLiteral("🚀 [ServerManager] Starting server: "))) {
            startingAt = clock.elapsed();
        } else if (line.startsWith(QStringLiteral("✅ [ServerManager] Server process started"))) {
            startedAt = clock.elapsed();
        }
    });

    const auto error =
        start(QStringLiteral(R"(sh -c 'echo "PATH=$PATH"; exec /usr/bin/python3 %1 %2')")
                  .arg(fixture(QStringLiteral("tcp_listener.py")))
                  .arg(port));
    Log::removeSink(sink);

    EXPECT_EQ(error, std::nullopt) << log.lines().join('\n').toStdString();
    EXPECT_EQ(
        log.count(QStringLiteral("⚠️ [ShellEnvironment] Login shell /bin/sh did not answer "
                                 "within 0.4 s; servers get the fixed PATH")),
        1)
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(waitUntil(
        [&] {
            // The server's next line may come in the same chunk, and so in the same log line.
            const QString path = QStringLiteral("📝 [Server Output] PATH=/usr/local/bin:/usr/bin:"
                                                "/bin:/usr/sbin:/sbin:/opt/homebrew/bin");
            const QStringList lines = log.linesStartingWith(path);
            return std::any_of(lines.cbegin(), lines.cend(), [&](const QString& line) {
                return line == path || line.startsWith(path + QLatin1Char('\n'));
            });
        },
        10s))
        << log.lines().join('\n').toStdString();
    const QMutexLocker locker(&mutex);
    ASSERT_GE(startingAt, 0);
    ASSERT_GE(startedAt, 0);
    // Coarse timers may fire a little early.
    EXPECT_GE(startedAt - startingAt, 350);
    EXPECT_LT(startedAt - startingAt, 1900);
}

TEST_F(ServerShellEnvironmentTest, TheShellIsAskedOnceAndAgainAfterARefresh)
{
    auto shell = std::make_shared<FakeShellEnvironment>();
    manager->setShellEnvironment(shell);
    const QString command = QStringLiteral("/usr/bin/python3 %1 %2")
                                .arg(fixture(QStringLiteral("tcp_listener.py")))
                                .arg(port);

    EXPECT_EQ(start(command), std::nullopt);
    EXPECT_EQ(start(command), std::nullopt);
    EXPECT_EQ(shell->asked, 1);

    manager->refreshEnvironment();
    EXPECT_TRUE(waitUntil([&] { return shell->asked == 2; }, 5s));
    EXPECT_EQ(start(command), std::nullopt);
    EXPECT_EQ(shell->asked, 2);
}

TEST_F(ServerShellEnvironmentTest, AShimReadsTheProjectsVersionFileFromItsWorkingDirectory)
{
    // asdf, mise, rbenv and the like: a shim on the shell's PATH that picks the installed version
    // the project's .tool-versions names.
    TestSupport::writeFile(home.path(), QStringLiteral(".profile"),
                           "export PATH=\"$HOME/shims:$PATH\"\n");
    writeScript(inHome(QStringLiteral("shims/wisp-shim-tool")),
                "#!/bin/sh\nversion=$(sed -n 's/^wisp-shim-tool //p' .tool-versions)\nexec \"" +
                    inHome(QStringLiteral("installs")).toUtf8() +
                    "/$version/bin/wisp-shim-tool\" \"$@\"\n");
    writeScript(inHome(QStringLiteral("installs/1.2.3/bin/wisp-shim-tool")),
                listenerScript("shim tool 1.2.3"));
    writeScript(inHome(QStringLiteral("installs/9.9.9/bin/wisp-shim-tool")),
                listenerScript("shim tool 9.9.9"));
    TestSupport::writeFile(folder.path(), QStringLiteral(".tool-versions"),
                           "wisp-shim-tool 1.2.3\n");
    manager->setShellEnvironment(loginShell());

    EXPECT_EQ(start(QStringLiteral("wisp-shim-tool %1").arg(port)), std::nullopt)
        << log.lines().join('\n').toStdString();

    EXPECT_TRUE(waitUntil(
        [&] {
            return !log.linesStartingWith(QStringLiteral("📝 [Server Output] shim tool 1.2.3"))
                        .isEmpty();
        },
        10s))
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("📝 [Server Output] shim tool 9")).isEmpty());
}

TEST_F(ServerShellEnvironmentTest, TheProjectsVirtualEnvironmentsPythonRuns)
{
    manager->setShellEnvironment(std::make_shared<FakeShellEnvironment>());
    const QString venv = QDir(folder.path()).filePath(QStringLiteral(".venv"));
    writeScript(QDir(venv).filePath(QStringLiteral("bin/python")),
                "#!/bin/sh\necho \"venv python for $VIRTUAL_ENV\"\nexec /usr/bin/python3 \"$@\"\n");

    EXPECT_EQ(start(QStringLiteral("python %1 %2")
                        .arg(fixture(QStringLiteral("tcp_listener.py")))
                        .arg(port)),
              std::nullopt)
        << log.lines().join('\n').toStdString();

    EXPECT_TRUE(log.contains(
        QStringLiteral("✅ [ProjectToolchains] Python virtual environment %1 comes first on PATH")
            .arg(venv)));
    EXPECT_TRUE(waitUntil(
        [&] {
            return !log.linesStartingWith(
                           QStringLiteral("📝 [Server Output] venv python for %1").arg(venv))
                        .isEmpty();
        },
        10s))
        << log.lines().join('\n').toStdString();
}

TEST_F(ServerShellEnvironmentTest, NvmrcPicksNodeFromTheShellsNvmDir)
{
    QTemporaryDir nvm;
    QProcessEnvironment answer;
    answer.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
    answer.insert(QStringLiteral("NVM_DIR"), nvm.path());
    manager->setShellEnvironment(std::make_shared<FakeShellEnvironment>(answer));
    writeScript(QDir(nvm.path()).filePath(QStringLiteral("versions/node/v20.11.1/bin/node")),
                listenerScript("node v20.11.1"));
    writeScript(QDir(nvm.path()).filePath(QStringLiteral("versions/node/v18.19.0/bin/node")),
                listenerScript("node v18.19.0"));
    TestSupport::writeFile(folder.path(), QStringLiteral(".nvmrc"), "20\n");

    EXPECT_EQ(start(QStringLiteral("node %1").arg(port)), std::nullopt)
        << log.lines().join('\n').toStdString();

    EXPECT_TRUE(waitUntil(
        [&] {
            return !log.linesStartingWith(QStringLiteral("📝 [Server Output] node v20.11.1"))
                        .isEmpty();
        },
        10s))
        << log.lines().join('\n').toStdString();
}

} // namespace
