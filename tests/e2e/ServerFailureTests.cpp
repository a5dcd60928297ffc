#include "Managers/ProjectOverrides.h"
#include "Managers/SettingsManager.h"
#include "Models/Browser.h"

#include "AccessibleSteps.h"
#include "AccessibleWispTest.h"

#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

// The real wisp on the private Xvfb display with the trayer tray: a project whose server
// prints an error and exits. The tray icon is clicked and the alerts are answered with real
// input; what the alert and the output window say is read through the accessibility tree.
// Screenshots are kept in the build's test-output/e2e-server-failure folder.
using namespace std::chrono_literals;
using namespace Desktop;
using AccessibleSteps::clickOn;

namespace {

const QString pushButton = QStringLiteral("push button");
const QString crashDescription =
    QStringLiteral("Failed to start server: Process crashed during startup");
const QString serverError = QStringLiteral("Error: listen EACCES: permission denied 0.0.0.0:80");

QString outputFolder()
{
    return QDir::cleanPath(QStringLiteral(WISP_BIN_DIR "/../test-output/e2e-server-failure"));
}

class ServerFailureTest : public AccessibleWispTest
{
protected:
    void SetUp() override
    {
        AccessibleWispTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        port = TestSupport::freePort();
        ASSERT_GT(port, 0);

        // A static site whose start command is the user's own script: it says what it does,
        // then fails as a server that cannot bind would.
        projectPath = QDir(projects.path()).filePath(QStringLiteral("broken"));
        TestSupport::writeFile(projectPath, QStringLiteral("index.html"),
                               "<link rel=stylesheet href=style.css><h1>broken</h1>\n");
        TestSupport::writeFile(projectPath, QStringLiteral("style.css"), "h1 { color: red; }\n");
        TestSupport::writeFile(projectPath, QStringLiteral("serve.sh"),
                               "echo 'Starting development server...'\n"
                               "echo '" +
                                   serverError.toUtf8() +
                                   "' >&2\n"
                                   "echo '    at Server.setupListenHandle (node:net:1882:21)' >&2\n"
                                   "exit 1\n");
        SettingsManager settings(std::make_unique<QSettings>(
            QDir(config.path()).filePath(QStringLiteral("wisp/wisp.conf")), QSettings::IniFormat));
        settings.setHasCompletedOnboarding(true);
        settings.setProjectsFolder(QUrl::fromLocalFile(projects.path()));
        settings.setPreferredBrowser(Browser::chrome);
        settings.setSelectedProjectPath(projectPath);
        ProjectOverrides overrides(&settings);
        overrides.setCommand(projectPath, QStringLiteral("/bin/sh serve.sh"));
        overrides.setPort(projectPath, port);

        QDir(outputFolder()).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(outputFolder())) << outputFolder().toStdString();
    }

    QProcessEnvironment environment() const override
    {
        QProcessEnvironment environment =
            WispProcess::environment(bin.path(), config.path(), temporary.path(), records.path());
        bus.addTo(environment);
        return environment;
    }

    // Started and polling the project's port.
    void launchWisp()
    {
        ASSERT_NO_FATAL_FAILURE(AccessibleWispTest::launchWisp());
        ASSERT_TRUE(wisp->waitForLine(
            QStringLiteral("🚀 [AppDelegate] Starting polling on port %1").arg(port), 60s))
            << wisp->log().toStdString();
    }

    std::optional<AccessibleNode>
    waitForNode(const std::function<bool(const AccessibleNode&)>& matches, const std::string& what,
                std::chrono::milliseconds timeout = 90s)
    {
        return AccessibleSteps::waitForSearch(
            [&](QString* error) { return a11y.tree(error); },
            [&](const AccessibleNode& root) { return root.find(matches); }, what, timeout);
    }

    std::optional<AccessibleNode> waitForButton(const QString& name)
    {
        return waitForNode(
            [&](const AccessibleNode& node) {
                return node.role == pushButton && node.name == name && node.isShowing() &&
                       node.isEnabled();
            },
            "the button \"" + name.toStdString() + "\"");
    }

    void screenshot(const QString& name) { AccessibleSteps::screenshot(outputFolder(), name); }

    QTemporaryDir config;
    QTemporaryDir projects;
    QTemporaryDir bin;
    QTemporaryDir records;
    QTemporaryDir temporary;
    QString projectPath;
    int port = 0;
};

} // namespace

TEST_F(ServerFailureTest, AFailedStartShowsTheServersOwnWordsAndShowOutputOpensItsLines)
{
    ASSERT_NO_FATAL_FAILURE(launchWisp());

    // Nothing listens: the question, answered with "Start Server".
    ASSERT_TRUE(clickTrayIcon(1)) << "wisp's tray icon never appeared in the tray";
    ASSERT_TRUE(waitForNode(
        [](const AccessibleNode& node) {
            return node.isShowing() && (node.name == QStringLiteral("Server is not running") ||
                                        node.text == QStringLiteral("Server is not running"));
        },
        "the start-server question"));
    ASSERT_NO_FATAL_FAILURE(clickOn(waitForButton(QStringLiteral("Start Server"))));

    // The failure, in the server's own words.
    const std::optional<AccessibleNode> reason = waitForNode(
        [](const AccessibleNode& node) {
            return node.isShowing() && (node.text.startsWith(crashDescription) ||
                                        node.name.startsWith(crashDescription));
        },
        "the failed start's reason");
    ASSERT_TRUE(reason);
    const QString shown = reason->text.isEmpty() ? reason->name : reason->text;
    EXPECT_EQ(shown, crashDescription + QStringLiteral("\n\nStarting development server...\n") +
                         serverError +
                         QStringLiteral("\n    at Server.setupListenHandle (node:net:1882:21)"))
        << shown.toStdString();
    EXPECT_TRUE(waitForNode(
        [](const AccessibleNode& node) {
            return node.isShowing() && (node.name == QStringLiteral("An error occurred") ||
                                        node.text == QStringLiteral("An error occurred"));
        },
        "the alert's message"));
    ASSERT_TRUE(waitForButton(QStringLiteral("OK")));
    screenshot(QStringLiteral("1-failed-start-alert"));
    // The log keeps its lines.
    EXPECT_TRUE(wisp->waitForLine(QStringLiteral("❌ [ServerManager] Failed to start process: ") +
                                  crashDescription))
        << wisp->log().toStdString();

    ASSERT_NO_FATAL_FAILURE(clickOn(waitForButton(QStringLiteral("Show Output"))));
    const std::optional<AccessibleNode> window = waitForNode(
        [](const AccessibleNode& node) {
            return node.isShowing() &&
                   node.name == QStringLiteral("Server Output — broken (/bin/sh serve.sh)");
        },
        "the server output window");
    ASSERT_TRUE(window);
    const std::optional<AccessibleNode> output = window->find([](const AccessibleNode& node) {
        return node.text.contains(QStringLiteral("Starting development server..."));
    });
    ASSERT_TRUE(output) << window->outline().toStdString();
    EXPECT_EQ(output->text,
              QStringLiteral("Starting development server...\n") + serverError +
                  QStringLiteral("\n    at Server.setupListenHandle (node:net:1882:21)"))
        << output->text.toStdString();
    for (const QString& button :
         {QStringLiteral("Copy"), QStringLiteral("Clear"), QStringLiteral("Open Log Folder")}) {
        EXPECT_TRUE(window->find(pushButton, button)) << window->outline().toStdString();
    }
    screenshot(QStringLiteral("2-server-output-window"));
}
