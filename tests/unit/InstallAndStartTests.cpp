#include "App/AlertCoordinator.h"
#include "Managers/ServerManager.h"

#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeServerManager.h"
#include "fakes/FakeShellEnvironment.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestProjects.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

// A Node project whose dependencies are not installed: the question says so and offers "Install
// and Start", which runs the package manager in the project folder and then starts the server.
using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

const QString question = QStringLiteral("Would you like to start web on port 3000?");
const QString missingLine =
    QStringLiteral("Its dependencies are not installed (there is no node_modules folder).");

QCoro::Task<> recordOpening(QStringList* opened, QString url)
{
    opened->append(url);
    co_return;
}

// The question and its answers, against the fake server manager.
class DependencyQuestionTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        web = TestProjects::make(QStringLiteral("web"), 3000, folder.path());
        TestSupport::writeFile(folder.path(), QStringLiteral("package.json"),
                               R"({"name": "web", "dependencies": {"vite": "^5.0.0"}})");
        alerts.serverStartPause = std::chrono::milliseconds(10);
        alerts.openBrowserWindow = [this](QString url) {
            return recordOpening(&opened, url);
        };
        alerts.showServerOutput = [this] {
            ++outputShown;
        };
        QObject::connect(&alerts, &AlertCoordinator::startServerFlowEnded,
                         [this] { ended = true; });
    }

    QTemporaryDir folder;
    Project web;
    FakeServerManager serverManager;
    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    AlertCoordinator alerts{&serverManager, presenter};
    QStringList opened;
    int outputShown = 0;
    bool ended = false;
};

} // namespace

TEST_F(DependencyQuestionTest, QuestionKeepsItsMessageSaysWhyAndOffersInstallFirst)
{
    const Alert expected{QStringLiteral("Server is not running"),
                         question + QLatin1Char('\n') + missingLine,
                         Alert::Style::informational,
                         {QStringLiteral("Install and Start"), QStringLiteral("Start Server"),
                          QStringLiteral("Cancel")}};
    EXPECT_EQ(AlertCoordinator::startServerAlert(web, true), expected);

    presenter->answers = {2};
    alerts.showStartServerAlert(web);
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first(), expected);
    // Cancel.
    EXPECT_TRUE(serverManager.calls.isEmpty());
}

TEST_F(DependencyQuestionTest, InstalledOrNotANodeProjectAsksAsBefore)
{
    TestSupport::makeDir(folder.path(), QStringLiteral("node_modules"));
    EXPECT_FALSE(AlertCoordinator::dependenciesMissing(web));
    QDir(folder.path()).rmdir(QStringLiteral("node_modules"));
    EXPECT_TRUE(AlertCoordinator::dependenciesMissing(web));
    Project python = web;
    python.type = ProjectType::python;
    EXPECT_FALSE(AlertCoordinator::dependenciesMissing(python));

    TestSupport::makeDir(folder.path(), QStringLiteral("node_modules"));
    presenter->answers = {1};
    alerts.showStartServerAlert(web);
    ASSERT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(presenter->shown.first().informativeText, question);
    EXPECT_EQ(presenter->shown.first().buttons,
              (QStringList{QStringLiteral("Start Server"), QStringLiteral("Cancel")}));
}

TEST_F(DependencyQuestionTest, InstallAndStartInstallsThenGoesOnAsStartServer)
{
    presenter->answers = {0};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(waitUntil([this] { return ended; }));
    EXPECT_EQ(serverManager.calls, (QStringList{QStringLiteral("installDependencies(web)"),
                                                QStringLiteral("startServer(web, npm run dev)")}));
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:3000")});
}

TEST_F(DependencyQuestionTest, StartServerSkipsTheInstall)
{
    presenter->answers = {1};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(waitUntil([this] { return ended; }));
    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("startServer(web, npm run dev)")});
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:3000")});
}

TEST_F(DependencyQuestionTest, FailedInstallIsShownAsAFailedStartAndStartsNothing)
{
    serverManager.installFailure = QStringLiteral("npm install failed (exit status 1)");
    serverManager.installFailureLines = {QStringLiteral("npm ERR! code E404"),
                                         QStringLiteral("npm ERR! 404 Not Found - vite")};
    presenter->answers = {0, 1};
    alerts.showStartServerAlert(web);
    ASSERT_TRUE(waitUntil([this] { return ended; }));

    EXPECT_EQ(serverManager.calls, QStringList{QStringLiteral("installDependencies(web)")});
    ASSERT_EQ(presenter->shown.size(), 2);
    const Alert expected{QStringLiteral("An error occurred"),
                         QStringLiteral("Failed to start server: npm install failed (exit status "
                                        "1)\n\nnpm ERR! code E404\nnpm ERR! 404 Not Found - vite"),
                         Alert::Style::warning,
                         {QStringLiteral("OK"), QStringLiteral("Show Output")},
                         0};
    EXPECT_EQ(presenter->shown.at(1), expected);
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_EQ(outputShown, 1);
}

// --- real installs
// ----------------------------------------------------------------------------------

namespace {

// Sets environment variables while it exists.
class ScopedVariables
{
public:
    explicit ScopedVariables(const QList<std::pair<const char*, QByteArray>>& variables)
    {
        for (const auto& [name, value] : variables) {
            previous.append({name, qgetenv(name), qEnvironmentVariableIsSet(name)});
            qputenv(name, value);
        }
    }
    ~ScopedVariables()
    {
        for (const Previous& variable : std::as_const(previous)) {
            if (variable.wasSet) {
                qputenv(variable.name, variable.value);
            } else {
                qunsetenv(variable.name);
            }
        }
    }
    ScopedVariables(const ScopedVariables&) = delete;
    ScopedVariables& operator=(const ScopedVariables&) = delete;

private:
    struct Previous
    {
        const char* name;
        QByteArray value;
        bool wasSet;
    };
    QList<Previous> previous;
};

// The real ServerManager behind the question; the server is a TCP listener.
class InstallAndStartTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        ASSERT_TRUE(standIns.isValid());
        port = TestSupport::freePort();
        manager = std::make_unique<ServerManager>(std::make_shared<FakeFolderAccess>());
        QObject::connect(
            manager.get(), &ServerManaging::outputStarted, manager.get(),
            [this](const Project&, const QString& command) { commands.append(command); });
        QObject::connect(manager.get(), &ServerManaging::outputRead, manager.get(),
                         [this](const QString& text, bool) { output += text; });
        alerts = std::make_unique<AlertCoordinator>(manager.get(), presenter);
        alerts->serverStartPause = std::chrono::milliseconds(10);
        alerts->openBrowserWindow = [this](QString url) {
            return recordOpening(&opened, url);
        };
        QObject::connect(alerts.get(), &AlertCoordinator::startServerFlowEnded,
                         [this] { ended = true; });
        TestSupport::writeFile(folder.path(), QStringLiteral("package.json"),
                               R"({"name": "web", "dependencies": {"left-pad": "^1.3.0"}})");
    }

    void TearDown() override
    {
        alerts.reset();
        if (manager && manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
    }

    Project project(const QString& command) const
    {
        Project web = makeProject(folder.path(), port);
        web.name = QStringLiteral("web");
        web.type = ProjectType::nodejs;
        web.customCommand = command;
        return web;
    }

    QString listenerCommand() const
    {
        return QStringLiteral("/usr/bin/python3 %1 %2")
            .arg(fixture(QStringLiteral("tcp_listener.py")))
            .arg(port);
    }

    // Servers and installs find the stand-ins first.
    void useStandIns()
    {
        // As a login shell would put them on PATH.
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("PATH"),
                           standIns.path() + QStringLiteral(":/usr/bin:/bin"));
        manager->setShellEnvironment(std::make_shared<FakeShellEnvironment>(environment));
    }

    void writeStandIn(const QString& name, const QByteArray& body)
    {
        TestSupport::writeFile(standIns.path(), name, "#!/bin/sh\n" + body);
        QFile::setPermissions(QDir(standIns.path()).filePath(name), QFileDevice::ReadOwner |
                                                                        QFileDevice::WriteOwner |
                                                                        QFileDevice::ExeOwner);
    }

    void answerInstallAndStart(const Project& web, int afterFailure = 0)
    {
        presenter->answers = {0, afterFailure};
        alerts->showStartServerAlert(web);
        ASSERT_TRUE(waitUntil([this] { return ended; }, 120s));
        if (manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
    }

    QString record() const
    {
        QFile file(QDir(standIns.path()).filePath(QStringLiteral("record")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    ScopedTemporaryDirectory temporary;
    QTemporaryDir folder;
    QTemporaryDir standIns;
    int port = 0;
    ProcessGroupReaper reaper;
    std::unique_ptr<ServerManager> manager;
    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    std::unique_ptr<AlertCoordinator> alerts;
    QStringList opened;
    QStringList commands;
    QString output;
    bool ended = false;
    LogCapture log;
};

} // namespace

TEST_F(InstallAndStartTest, StandInPackageManagerRunsInTheProjectFolderThenTheServerStarts)
{
    writeStandIn(QStringLiteral("npm"), "echo \"$0 $* in $(pwd)\" >> \"$(dirname \"$0\")/record\"\n"
                                        "mkdir node_modules\n"
                                        "echo 'added 1 package in 1s'\n"
                                        "echo 'npm warn deprecated left-pad@1.3.0' >&2\n");
    useStandIns();

    ASSERT_NO_FATAL_FAILURE(answerInstallAndStart(project(listenerCommand())));

    EXPECT_EQ(record(), QStringLiteral("%1/npm install in %2\n")
                            .arg(standIns.path(), QDir(folder.path()).canonicalPath()));
    EXPECT_TRUE(QFileInfo(QDir(folder.path()).filePath(QStringLiteral("node_modules"))).isDir());
    EXPECT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:%1").arg(port)});
    EXPECT_EQ(manager->status(), ServerStatus::running);
    // Its output went where the server's goes, before the server's own.
    EXPECT_EQ(commands, (QStringList{QStringLiteral("npm install"), listenerCommand()}));
    EXPECT_TRUE(output.contains(QStringLiteral("added 1 package in 1s")));
    EXPECT_TRUE(output.contains(QStringLiteral("npm warn deprecated left-pad@1.3.0")));
    EXPECT_TRUE(
        log.contains(QStringLiteral("📦 [ServerManager] Installing dependencies: npm install in ") +
                     QDir::cleanPath(folder.path())));
    EXPECT_TRUE(
        log.contains(QStringLiteral("✅ [ServerManager] Dependencies installed (npm install)")));
}

TEST_F(InstallAndStartTest, TheLockfileChoosesThePackageManager)
{
    TestSupport::writeFile(folder.path(), QStringLiteral("pnpm-lock.yaml"), "lockfileVersion: 9\n");
    writeStandIn(QStringLiteral("pnpm"), "echo \"pnpm $*\" >> \"$(dirname \"$0\")/record\"\n"
                                         "mkdir node_modules\n");
    writeStandIn(QStringLiteral("npm"),
                 "echo \"npm $*\" >> \"$(dirname \"$0\")/record\"\nexit 1\n");
    useStandIns();

    ASSERT_NO_FATAL_FAILURE(answerInstallAndStart(project(listenerCommand())));

    EXPECT_EQ(record(), QStringLiteral("pnpm install\n"));
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:%1").arg(port)});
}

TEST_F(InstallAndStartTest, FailedInstallShowsItsLastLinesAndStartsNoServer)
{
    writeStandIn(QStringLiteral("npm"), "echo 'npm error code E404' >&2\n"
                                        "echo 'npm error 404 Not Found - GET left-pad' >&2\n"
                                        "exit 1\n");
    useStandIns();

    ASSERT_NO_FATAL_FAILURE(answerInstallAndStart(project(listenerCommand())));

    ASSERT_EQ(presenter->shown.size(), 2);
    const Alert& alert = presenter->shown.at(1);
    EXPECT_EQ(alert.messageText, QStringLiteral("An error occurred"));
    EXPECT_EQ(alert.informativeText,
              QStringLiteral("Failed to start server: npm install failed (exit status 1)\n\n"
                             "npm error code E404\nnpm error 404 Not Found - GET left-pad"));
    EXPECT_EQ(alert.buttons, (QStringList{QStringLiteral("OK"), QStringLiteral("Show Output")}));
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_FALSE(manager->hasRunningProcess());
    EXPECT_EQ(commands, QStringList{QStringLiteral("npm install")});
    EXPECT_TRUE(log.contains(QStringLiteral("❌ [ServerManager] Failed to install dependencies (npm "
                                            "install): npm install failed (exit status 1)")));
}

TEST_F(InstallAndStartTest, MissingPackageManagerFailsWithWhatEnvSaid)
{
    TestSupport::writeFile(folder.path(), QStringLiteral("yarn.lock"), "");
    useStandIns();

    ASSERT_NO_FATAL_FAILURE(answerInstallAndStart(project(listenerCommand())));

    ASSERT_EQ(presenter->shown.size(), 2);
    const QString text = presenter->shown.at(1).informativeText;
    EXPECT_TRUE(text.startsWith(
        QStringLiteral("Failed to start server: yarn install failed (exit status 127)\n\n"
                       "/usr/bin/env: ")))
        << text.toStdString();
    EXPECT_TRUE(text.endsWith(QStringLiteral("yarn’: No such file or directory")) ||
                text.endsWith(QStringLiteral("yarn': No such file or directory")))
        << text.toStdString();
}

TEST_F(InstallAndStartTest, InstallPastItsDeadlineIsStoppedAndFails)
{
    writeStandIn(QStringLiteral("npm"), "echo 'resolving...'\nexec sleep 300\n");
    useStandIns();
    manager->setInstallDeadline(std::chrono::milliseconds(700));

    ASSERT_NO_FATAL_FAILURE(answerInstallAndStart(project(listenerCommand())));

    ASSERT_EQ(presenter->shown.size(), 2);
    EXPECT_EQ(presenter->shown.at(1).informativeText,
              QStringLiteral("Failed to start server: npm install did not finish within 0.7 s\n\n"
                             "resolving..."));
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(InstallAndStartTest, RealNpmInstallsALocalFileDependencyThenTheServerUsesIt)
{
    for (const char* tool : {"/usr/bin/npm", "/usr/bin/node"}) {
        if (!QFileInfo(QString::fromLatin1(tool)).isExecutable()) {
            GTEST_SKIP() << tool << " is not installed";
        }
    }
    QTemporaryDir cache;
    // No registry: the one dependency is a folder of the project; the cache is the test's own.
    const ScopedVariables npm({{"npm_config_cache", cache.path().toUtf8()},
                               {"npm_config_offline", "true"},
                               {"npm_config_audit", "false"},
                               {"npm_config_fund", "false"},
                               {"npm_config_update_notifier", "false"}});
    TestSupport::writeFile(folder.path(), QStringLiteral("package.json"),
                           R"({"name": "web", "version": "1.0.0", "private": true,
  "dependencies": {"local-lib": "file:./local-lib"}}
)");
    TestSupport::writeFile(folder.path(), QStringLiteral("local-lib/package.json"),
                           R"({"name": "local-lib", "version": "1.0.0", "main": "index.js"})");
    TestSupport::writeFile(folder.path(), QStringLiteral("local-lib/index.js"),
                           "module.exports = (port) => require('net').createServer()"
                           ".listen(port, '127.0.0.1');\n");

    const QString server =
        QStringLiteral("/usr/bin/node -e \"require('local-lib')(%1)\"").arg(port);
    ASSERT_NO_FATAL_FAILURE(answerInstallAndStart(project(server)));

    EXPECT_EQ(presenter->shown.size(), 1)
        << (presenter->shown.size() > 1 ? presenter->shown.at(1).informativeText.toStdString()
                                        : std::string());
    EXPECT_TRUE(QFileInfo::exists(
        QDir(folder.path()).filePath(QStringLiteral("node_modules/local-lib/index.js"))));
    EXPECT_TRUE(
        QFileInfo::exists(QDir(folder.path()).filePath(QStringLiteral("package-lock.json"))));
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:%1").arg(port)});
    EXPECT_EQ(manager->status(), ServerStatus::running);
    EXPECT_TRUE(
        log.contains(QStringLiteral("✅ [ServerManager] Dependencies installed (npm install)")))
        << log.lines().join(QLatin1Char('\n')).toStdString();
}
