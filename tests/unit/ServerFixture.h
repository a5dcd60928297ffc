#pragma once

#include "Managers/ServerManager.h"

#include "ServerTestSupport.h"
#include "fakes/FakeFolderAccess.h"
#include "fakes/FakeShellEnvironment.h"
#include "support/LogCapture.h"
#include "support/TestSupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace ServerTests {

// A real ServerManager on a free port, a project folder, a reaper for the servers a test starts
// and the captured log.
class ServerFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        port = TestSupport::freePort();
        manager = std::make_unique<ServerManager>(std::make_shared<FakeFolderAccess>());
        // No login shell: the tests here pin what servers get without one.
        manager->setShellEnvironment(std::make_shared<FakeShellEnvironment>());
    }

    // killServer refreshes the status of the watched port: watch this test's port, wait for its
    // first check and start the log afresh.
    void watchOwnPort()
    {
        using namespace std::chrono_literals;
        manager->updatePollingPort(port);
        ASSERT_TRUE(TestSupport::waitUntil(
            [&] { return manager->status() != ServerStatus::unknown; }, 30s));
        log.clear();
    }

    ScopedTemporaryDirectory temporary; // first: outlives everything that writes there
    QTemporaryDir folder;
    int port = 0;
    ProcessGroupReaper reaper;
    std::unique_ptr<ServerManager> manager;
    LogCapture log;
};

} // namespace ServerTests
