#include "Controllers/ProjectSwitcher.h"
#include "Managers/ServerManager.h"

#include "fakes/FakeBrowserManager.h"
#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeProjectManager.h"
#include "support/HeadlessChromium.h"
#include "support/LogCapture.h"
#include "support/QtPrinters.h"
#include "support/TestSettings.h"
#include "support/TestSupport.h"
#include "unit/ServerFixture.h"
#include "unit/ServerTestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

using namespace ServerTests;
using TestSupport::waitUntil;

namespace {

// Stopping a server by its port ends what listens there, never what is merely connected to it:
// a browser showing the site, an editor, a test runner.
class ServerKillScopeTest : public ServerFixture
{
protected:
    void SetUp() override
    {
        ServerFixture::SetUp();
        watchOwnPort();
    }

    QStringList fixtureArguments(const QString& name, const QStringList& options = {}) const
    {
        return QStringList{fixture(name), QString::number(port)} + options;
    }

    // The site's page, which keeps an event stream open to the server.
    QString siteUrl() const { return QStringLiteral("http://127.0.0.1:%1/").arg(port); }

    // Waits until `server` has printed `text`.
    static bool waitForOutput(ExternalServer& server, const QByteArray& text)
    {
        return waitUntil(
            [&] {
                server.output += server.process.readAllStandardOutput();
                return server.output.contains(text);
            },
            90s);
    }

    QString foundPids(qint64 pid) const
    {
        return QStringLiteral("🛑 [ServerManager] Kill output: Found PIDs: %1").arg(pid);
    }
};

} // namespace

TEST_F(ServerKillScopeTest, KillServerLeavesABrowserWithAnOpenEventStreamRunning)
{
    ExternalServer server(reaper, fixtureArguments(QStringLiteral("event_stream_server.py")));
    HeadlessChromium browser(siteUrl());
    ASSERT_TRUE(browser.isReady()) << browser.failure().toStdString();
    ASSERT_TRUE(waitForOutput(server, "STREAM")) << server.output.toStdString();

    killServer(*manager, port);

    // Only the server was found and signalled, with its group; the browser still answers.
    EXPECT_TRUE(log.contains(foundPids(server.pid()))) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(waitUntil([&] { return server.process.state() == QProcess::NotRunning; }));
    EXPECT_TRUE(waitUntil([&] { return groupMembers(server.pid()).isEmpty(); }));
    EXPECT_TRUE(browser.request(QStringLiteral("/json/version")).has_value());
    EXPECT_EQ(browser.frontPageUrl(), siteUrl());
    EXPECT_FALSE(checkPort(*manager, port));
}

TEST_F(ServerKillScopeTest, KillServerLeavesAClientInItsOwnSessionRunning)
{
    ExternalServer server(reaper, fixtureArguments(QStringLiteral("tcp_listener.py")));
    ExternalServer client(reaper, fixtureArguments(QStringLiteral("tcp_client.py")));
    ASSERT_TRUE(isAlive(client.pid()));

    killServer(*manager, port);

    EXPECT_TRUE(log.contains(foundPids(server.pid()))) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(waitUntil([&] { return server.process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(server.process.exitCode(), SIGTERM);
    EXPECT_TRUE(waitUntil([&] { return groupMembers(server.pid()).isEmpty(); }));
    EXPECT_EQ(client.process.state(), QProcess::Running);
    EXPECT_TRUE(isAlive(client.pid()));
}

TEST_F(ServerKillScopeTest, WithOnlyConnectionsAndNoListenerNothingIsSignalled)
{
    // The peer accepts one connection and stops listening: two ends of a connection on the port,
    // no listener.
    ExternalServer peer(reaper, fixtureArguments(QStringLiteral("tcp_listener.py"),
                                                 {QStringLiteral("--accept-one")}));
    ExternalServer client(reaper, fixtureArguments(QStringLiteral("tcp_client.py")));
    ASSERT_TRUE(waitForOutput(peer, "ACCEPTED")) << peer.output.toStdString();

    killServer(*manager, port);

    EXPECT_TRUE(log.contains(
        QStringLiteral("🛑 [ServerManager] Kill output: No processes found on port %1")
            .arg(port)));
    EXPECT_TRUE(log.contains(
        QStringLiteral("✅ [ServerManager] Successfully terminated process on port %1").arg(port)));
    EXPECT_EQ(peer.process.state(), QProcess::Running);
    EXPECT_EQ(client.process.state(), QProcess::Running);
    EXPECT_TRUE(isAlive(peer.pid()));
    EXPECT_TRUE(isAlive(client.pid()));
}

TEST_F(ServerKillScopeTest, ProjectSwitchLeavesTheBrowserShowingTheOldSiteRunning)
{
    QTemporaryDir otherFolder;
    ASSERT_TRUE(otherFolder.isValid());
    const int otherPort = TestSupport::freePort();

    Project old = makeProject(folder.path(), port);
    old.name = QStringLiteral("Old");
    // Behind a wrapper that stays its parent, as a package manager does: ending the wrapper
    // leaves the listener to the port-kill.
    old.customCommand = QStringLiteral("sh -c \"python3 %1 %2; exit 0\"")
                            .arg(fixture(QStringLiteral("event_stream_server.py")))
                            .arg(port);
    Project next = makeProject(otherFolder.path(), otherPort);
    next.name = QStringLiteral("Next");
    next.customCommand = QStringLiteral("python3 %1 %2")
                             .arg(fixture(QStringLiteral("tcp_listener.py")))
                             .arg(otherPort);

    // The old project's server, started by wisp, with its page open in a browser.
    ASSERT_EQ(startReaped(*manager, old, old.effectiveCommand(), reaper), std::nullopt);
    const qint64 oldServer = manager->runningProcessId();
    HeadlessChromium browser(siteUrl());
    ASSERT_TRUE(browser.isReady()) << browser.failure().toStdString();
    ASSERT_TRUE(waitUntil(
        [&] {
            for (const QString& line : log.linesStartingWith(QStringLiteral("📝 [Server Output]"))) {
                if (line.contains(QStringLiteral("STREAM"))) {
                    return true;
                }
            }
            return false;
        },
        90s))
        << log.lines().join('\n').toStdString();

    TestSettings settings;
    FakeProjectManager projects;
    FakeBrowserManager browsers;
    projects.setProjects({old, next});
    projects.setSelectedProject(old);
    ProjectSwitcher switcher(settings.get(), manager.get(), &projects, &browsers);
    switcher.checkInterval = 50ms;
    switcher.rebuildMenu = [] {
    };

    switcher.projectSelected(next);
    ASSERT_TRUE(waitUntil(
        [&] { return switcher.currentSwitchTask && switcher.currentSwitchTask->isFinished(); },
        90s));
    if (manager->hasRunningProcess()) {
        reaper.add(manager->runningProcessId());
    }

    EXPECT_TRUE(log.contains(QStringLiteral("✅ [StatusBarController] Project switch complete")))
        << log.lines().join('\n').toStdString();
    EXPECT_TRUE(waitUntil([&] { return groupMembers(oldServer).isEmpty(); }));
    EXPECT_TRUE(browser.request(QStringLiteral("/json/version")).has_value());
    EXPECT_EQ(browser.frontPageUrl(), siteUrl());
    EXPECT_TRUE(checkPort(*manager, otherPort));
}
