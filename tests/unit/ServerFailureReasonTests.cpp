#include "App/AlertCoordinator.h"
#include "Managers/ServerManager.h"
#include "Models/ServerError.h"

#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "fakes/PreAnsweredAlertPresenter.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

// A start that fails says why: the server's own last lines travel with the error into the
// alert, and the output reaches whoever shows it. Real servers through /usr/bin/env and /bin/sh.
using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

const QString crashDescription =
    QStringLiteral("Failed to start server: Process crashed during startup");

// env's words for a program it cannot find; the quotes follow the locale.
bool envSaysMissing(const QString& line)
{
    static const QRegularExpression words(QStringLiteral(
        "^/usr/bin/env: ['‘]wisp-no-such-tool-7f3a['’]: No such file or directory$"));
    return words.match(line).hasMatch();
}

struct Failure
{
    QString description;
    QStringList lastLines;
};

QCoro::Task<> startCapturingFailure(ServerManager* manager, Project project, QString command,
                                    std::optional<Failure>* failure)
{
    try {
        co_await manager->startServer(project, command);
    } catch (const ServerError& error) {
        *failure = Failure{error.errorDescription(), error.lastLines()};
    }
}

class ServerFailureReasonTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        port = TestSupport::freePort();
        manager = std::make_unique<ServerManager>(std::make_shared<FakeFolderAccess>());
        QObject::connect(manager.get(), &ServerManaging::outputStarted, manager.get(),
                         [this](const Project& project, const QString& command) {
                             started.append(project.name + QStringLiteral(": ") + command);
                         });
        QObject::connect(manager.get(), &ServerManaging::outputRead, manager.get(),
                         [this](const QString& text, bool isError) {
                             (isError ? errorOutput : standardOutput) += text;
                         });
    }

    void TearDown() override
    {
        if (manager && manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
    }

    Project project() const { return makeProject(folder.path(), port); }

    std::optional<Failure> start(const QString& command)
    {
        std::optional<Failure> failure;
        QCoro::waitFor(startCapturingFailure(manager.get(), project(), command, &failure));
        if (manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
        return failure;
    }

    // A script in the project folder, run by /bin/sh.
    QString script(const QString& name, const QByteArray& body)
    {
        TestSupport::writeFile(folder.path(), name, body);
        return QStringLiteral("/bin/sh ") + name;
    }

    ScopedTemporaryDirectory temporary;
    QTemporaryDir folder;
    int port = 0;
    ProcessGroupReaper reaper;
    std::unique_ptr<ServerManager> manager;
    QStringList started;
    QString standardOutput;
    QString errorOutput;
    LogCapture log;
};

} // namespace

TEST_F(ServerFailureReasonTest, MissingToolFailsWithWhatEnvSaid)
{
    const auto failure = start(QStringLiteral("wisp-no-such-tool-7f3a --serve"));

    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->description, crashDescription);
    ASSERT_EQ(failure->lastLines.size(), 1)
        << failure->lastLines.join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(envSaysMissing(failure->lastLines.first()))
        << failure->lastLines.first().toStdString();
    // The log keeps its lines.
    EXPECT_TRUE(log.contains(QStringLiteral("❌ [ServerManager] Failed to start process: ") +
                             crashDescription));
    EXPECT_EQ(started, QStringList{QStringLiteral("site: wisp-no-such-tool-7f3a --serve")});
}

TEST_F(ServerFailureReasonTest, ServerThatPrintsAnErrorAndExitsReportsItsOwnLinesInOrder)
{
    const QString command = script(
        QStringLiteral("fail.sh"),
        "echo 'starting dev server'\n"
        "echo 'Error: Cannot find module \"express\"' >&2\n"
        "echo '    at Module._resolveFilename (node:internal/modules/cjs/loader:1145:15)' >&2\n"
        "exit 1\n");

    const auto failure = start(command);

    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->description, crashDescription);
    // Both streams; each as written, its indentation kept.
    EXPECT_TRUE(failure->lastLines.contains(QStringLiteral("starting dev server")))
        << failure->lastLines.join(QLatin1Char('\n')).toStdString();
    const qsizetype error =
        failure->lastLines.indexOf(QStringLiteral("Error: Cannot find module \"express\""));
    ASSERT_GE(error, 0) << failure->lastLines.join(QLatin1Char('\n')).toStdString();
    ASSERT_EQ(failure->lastLines.size(), 3);
    EXPECT_EQ(failure->lastLines.at(error + 1),
              QStringLiteral(
                  "    at Module._resolveFilename (node:internal/modules/cjs/loader:1145:15)"));
    EXPECT_EQ(standardOutput, QStringLiteral("starting dev server\n"));
    EXPECT_TRUE(errorOutput.startsWith(QStringLiteral("Error: Cannot find module")));
}

TEST_F(ServerFailureReasonTest, OnlyTheLastTwelveLinesAreReported)
{
    const QString command = script(QStringLiteral("many.sh"),
                                   "i=1\n"
                                   "while [ $i -le 40 ]; do echo \"line $i\"; i=$((i+1)); done\n"
                                   "echo\n"
                                   "echo 'fatal: out of luck' >&2\n"
                                   "exit 3\n");

    const auto failure = start(command);

    ASSERT_TRUE(failure.has_value());
    QStringList expected;
    for (int line = 30; line <= 40; ++line) {
        expected.append(QStringLiteral("line %1").arg(line));
    }
    // The blank line is not worth one of the twelve.
    expected.append(QStringLiteral("fatal: out of luck"));
    EXPECT_EQ(failure->lastLines, expected);
}

TEST_F(ServerFailureReasonTest, EachStartReportsOnlyItsOwnLines)
{
    const QString first = script(QStringLiteral("first.sh"), "echo 'first run' >&2\nexit 1\n");
    const QString second = script(QStringLiteral("second.sh"), "echo 'second run' >&2\nexit 1\n");

    ASSERT_TRUE(start(first).has_value());
    const auto failure = start(second);

    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->lastLines, QStringList{QStringLiteral("second run")});
}

TEST_F(ServerFailureReasonTest, EmptyCommandHasNoLines)
{
    const auto failure = start(QStringLiteral("  "));

    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->description, QStringLiteral("Failed to start server: Empty command"));
    EXPECT_TRUE(failure->lastLines.isEmpty());
    EXPECT_TRUE(started.isEmpty());
}

// --- the alert
// ------------------------------------------------------------------------------------

namespace {

QCoro::Task<> openNothing(QStringList* opened, QString url)
{
    opened->append(url);
    co_return;
}

class StartFailureAlertTest : public ServerFailureReasonTest
{
protected:
    void SetUp() override
    {
        ServerFailureReasonTest::SetUp();
        alerts = std::make_unique<AlertCoordinator>(manager.get(), presenter);
        alerts->serverStartPause = std::chrono::milliseconds(10);
        alerts->openBrowserWindow = [this](QString url) {
            return openNothing(&opened, url);
        };
        alerts->showServerOutput = [this] {
            ++outputShown;
        };
        QObject::connect(alerts.get(), &AlertCoordinator::startServerFlowEnded,
                         [this] { ended = true; });
    }

    void TearDown() override
    {
        alerts.reset();
        ServerFailureReasonTest::TearDown();
    }

    // "Start Server" in the question, then whatever the flow shows.
    void startThroughTheQuestion(const QString& command)
    {
        Project chosen = project();
        chosen.customCommand = command;
        presenter->answers = {AlertPresenter::firstButton, afterFailure};
        alerts->showStartServerAlert(chosen);
        ASSERT_TRUE(waitUntil([this] { return ended; }, 60s));
        if (manager->hasRunningProcess()) {
            reaper.add(manager->runningProcessId());
        }
    }

    std::shared_ptr<PreAnsweredAlertPresenter> presenter =
        std::make_shared<PreAnsweredAlertPresenter>();
    std::unique_ptr<AlertCoordinator> alerts;
    int afterFailure = AlertPresenter::firstButton;
    QStringList opened;
    int outputShown = 0;
    bool ended = false;
};

} // namespace

TEST_F(StartFailureAlertTest, MissingToolShowsTheMessageTheDescriptionAndWhatEnvSaid)
{
    ASSERT_NO_FATAL_FAILURE(startThroughTheQuestion(QStringLiteral("wisp-no-such-tool-7f3a")));

    ASSERT_EQ(presenter->shown.size(), 2);
    const Alert& alert = presenter->shown.at(1);
    EXPECT_EQ(alert.messageText, QStringLiteral("An error occurred"));
    ASSERT_TRUE(alert.informativeText.startsWith(crashDescription + QStringLiteral("\n\n")))
        << alert.informativeText.toStdString();
    EXPECT_TRUE(envSaysMissing(alert.informativeText.mid(crashDescription.size() + 2)))
        << alert.informativeText.toStdString();
    EXPECT_EQ(alert.buttons, (QStringList{QStringLiteral("OK"), QStringLiteral("Show Output")}));
    EXPECT_EQ(alert.style, Alert::Style::warning);
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_EQ(outputShown, 0);
}

TEST_F(StartFailureAlertTest,
       ServerThatPrintsAnErrorAndExitsShowsItsLinesAndShowOutputOpensTheWindow)
{
    afterFailure = 1;
    ASSERT_NO_FATAL_FAILURE(startThroughTheQuestion(script(QStringLiteral("fail.sh"),
                                                           "echo 'listening soon'\n"
                                                           "echo 'sh: 1: vite: not found' >&2\n"
                                                           "exit 1\n")));

    ASSERT_EQ(presenter->shown.size(), 2);
    const Alert& alert = presenter->shown.at(1);
    EXPECT_EQ(alert.messageText, QStringLiteral("An error occurred"));
    EXPECT_TRUE(alert.informativeText.startsWith(crashDescription + QStringLiteral("\n\n")))
        << alert.informativeText.toStdString();
    const QStringList lines =
        alert.informativeText.mid(crashDescription.size() + 2).split(QLatin1Char('\n'));
    EXPECT_EQ(lines.size(), 2) << alert.informativeText.toStdString();
    EXPECT_TRUE(lines.contains(QStringLiteral("sh: 1: vite: not found")))
        << alert.informativeText.toStdString();
    EXPECT_TRUE(lines.contains(QStringLiteral("listening soon")))
        << alert.informativeText.toStdString();
    EXPECT_EQ(outputShown, 1);
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(StartFailureAlertTest, ServerSlowToListenShowsNoAlert)
{
    // Compiles for a second and a half, then listens.
    ASSERT_NO_FATAL_FAILURE(startThroughTheQuestion(
        QStringLiteral("/bin/sh -c 'echo compiling; sleep 1.5; exec /usr/bin/python3 %1 %2'")
            .arg(fixture(QStringLiteral("tcp_listener.py")))
            .arg(port)));

    // Only the question.
    EXPECT_EQ(presenter->shown.size(), 1);
    EXPECT_EQ(opened, QStringList{QStringLiteral("localhost:%1").arg(port)});
    EXPECT_EQ(manager->status(), ServerStatus::running);
    EXPECT_TRUE(log.linesStartingWith(QStringLiteral("❌")).isEmpty())
        << log.lines().join('\n').toStdString();
    EXPECT_EQ(outputShown, 0);
}

TEST_F(ServerFailureReasonTest, AReplacedServersLastWordsStayOutOfTheNextRunsOutput)
{
    // The first server says goodbye when it is asked to end, after the next start has begun.
    const int firstPort = TestSupport::freePort();
    Project first = project();
    first.name = QStringLiteral("first");
    first.port = firstPort;
    QCoro::waitFor(manager->startServer(
        first, QStringLiteral("/bin/sh -c 'trap \"echo old-bye; exit 0\" TERM; "
                              "/usr/bin/python3 %1 %2 & wait'")
                   .arg(fixture(QStringLiteral("tcp_listener.py")))
                   .arg(firstPort)));
    ASSERT_TRUE(manager->hasRunningProcess()) << log.lines().join('\n').toStdString();
    reaper.add(manager->runningProcessId());
    ASSERT_TRUE(waitUntil([&] { return standardOutput.contains(QStringLiteral("READY")); }));

    QString laterOutput;
    QObject::connect(manager.get(), &ServerManaging::outputStarted, manager.get(),
                     [&] { laterOutput.clear(); });
    QObject::connect(manager.get(), &ServerManaging::outputRead, manager.get(),
                     [&](const QString& text, bool) { laterOutput += text; });
    QCoro::waitFor(
        manager->startServer(project(), QStringLiteral("/usr/bin/python3 %1 %2")
                                            .arg(fixture(QStringLiteral("tcp_listener.py")))
                                            .arg(port)));
    if (manager->hasRunningProcess()) {
        reaper.add(manager->runningProcessId());
    }

    // Logged as ever, but not shown as the new server's.
    ASSERT_TRUE(
        waitUntil([&] { return log.contains(QStringLiteral("📝 [Server Output] old-bye")); }));
    EXPECT_EQ(laterOutput, QStringLiteral("READY\n"));
    EXPECT_EQ(started.last(), QStringLiteral("site: /usr/bin/python3 %1 %2")
                                  .arg(fixture(QStringLiteral("tcp_listener.py")))
                                  .arg(port));
}
