#include "Managers/PermissionsManager.h"

#include "fakes/FakePermissionProbes.h"
#include "fakes/FakeSystemSettingsOpener.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QElapsedTimer>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <memory>

using namespace std::chrono_literals;
using TestSupport::waitUntil;

namespace {

class PermissionsManagerTest : public ::testing::Test
{
protected:
    std::unique_ptr<PermissionsManager> makeManager()
    {
        return std::make_unique<PermissionsManager>(probes, opener);
    }

    static bool polling(QTimer* timer) { return timer && timer->isActive(); }

    std::shared_ptr<FakePermissionProbes> probes = std::make_shared<FakePermissionProbes>();
    std::shared_ptr<FakeSystemSettingsOpener> opener = std::make_shared<FakeSystemSettingsOpener>();
};

const QUrl accessibilityPane(QStringLiteral(
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"));

} // namespace

TEST_F(PermissionsManagerTest, StartsWithBothFlagsFalseAndProbesOnce)
{
    auto manager = makeManager();
    EXPECT_FALSE(manager->hasAutomationPermission());
    EXPECT_FALSE(manager->hasAccessibilityPermission());
    EXPECT_FALSE(manager->isShuttingDown());
    EXPECT_EQ(probes->automationChecks, 1);
    EXPECT_EQ(probes->accessibilityChecks, 1);
}

TEST_F(PermissionsManagerTest, MissingPermissionsStartOneSecondTimersAtCreation)
{
    auto manager = makeManager();
    ASSERT_TRUE(polling(manager->automationTimer()));
    ASSERT_TRUE(polling(manager->accessibilityTimer()));
    EXPECT_EQ(manager->automationTimer()->interval(), 1000);
    EXPECT_EQ(manager->accessibilityTimer()->interval(), 1000);
    EXPECT_FALSE(manager->automationTimer()->isSingleShot());
    EXPECT_NE(manager->automationTimer(), manager->accessibilityTimer());
}

TEST_F(PermissionsManagerTest, CreationPublishesOnALaterTurnSoGrantedPermissionsStillStartTimers)
{
    probes->automationGranted = true;
    probes->accessibilityGranted = true;
    auto manager = makeManager();
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);
    QSignalSpy accessibility(manager.get(), &PermissionsManager::accessibilityPermissionChanged);

    // Probed, but not yet published: polling starts from the initial false values.
    EXPECT_FALSE(manager->hasAutomationPermission());
    EXPECT_FALSE(manager->hasAccessibilityPermission());
    EXPECT_TRUE(polling(manager->automationTimer()));
    EXPECT_TRUE(polling(manager->accessibilityTimer()));

    ASSERT_TRUE(waitUntil([&] { return automation.count() >= 1 && accessibility.count() >= 1; }));
    EXPECT_TRUE(manager->hasAutomationPermission());
    EXPECT_TRUE(manager->hasAccessibilityPermission());
    EXPECT_EQ(automation.first().first().toBool(), true);

    // Each timer ends on its first tick, which finds the permission granted.
    ASSERT_TRUE(
        waitUntil([&] { return !manager->automationTimer() && !manager->accessibilityTimer(); }));
    EXPECT_EQ(probes->automationChecks, 2);
    EXPECT_EQ(probes->accessibilityChecks, 2);
}

TEST_F(PermissionsManagerTest, EachTimerStopsOnItsFirstGrantedTick)
{
    auto manager = makeManager();
    QSignalSpy accessibility(manager.get(), &PermissionsManager::accessibilityPermissionChanged);
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);

    // A tick that still finds nothing keeps both timers.
    ASSERT_TRUE(waitUntil([&] { return probes->accessibilityChecks >= 2; }));
    EXPECT_TRUE(polling(manager->accessibilityTimer()));
    EXPECT_TRUE(polling(manager->automationTimer()));

    probes->accessibilityGranted = true;
    ASSERT_TRUE(waitUntil([&] { return manager->accessibilityTimer() == nullptr; }));
    EXPECT_TRUE(manager->hasAccessibilityPermission());
    EXPECT_TRUE(polling(manager->automationTimer()));
    EXPECT_FALSE(manager->hasAutomationPermission());
    const int accessibilityChecksWhenGranted = probes->accessibilityChecks;

    probes->automationGranted = true;
    ASSERT_TRUE(waitUntil([&] { return manager->automationTimer() == nullptr; }));
    EXPECT_TRUE(manager->hasAutomationPermission());

    // Every tick publishes, also when nothing changed; the accessibility timer never probed again.
    EXPECT_GE(accessibility.count(), 2);
    EXPECT_GE(automation.count(), 2);
    EXPECT_EQ(probes->accessibilityChecks, accessibilityChecksWhenGranted);
}

TEST_F(PermissionsManagerTest, RevocationAfterPollingEndedGoesUnnoticed)
{
    probes->automationGranted = true;
    probes->accessibilityGranted = true;
    auto manager = makeManager();
    ASSERT_TRUE(
        waitUntil([&] { return !manager->automationTimer() && !manager->accessibilityTimer(); }));
    const int checks = probes->automationChecks;
    probes->automationGranted = false;
    // A later full check publishes the revocation but starts no polling.
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);
    manager->checkPermissions();
    ASSERT_TRUE(waitUntil([&] { return automation.count() == 1; }));
    EXPECT_FALSE(manager->hasAutomationPermission());
    EXPECT_EQ(manager->automationTimer(), nullptr);
    EXPECT_EQ(probes->automationChecks, checks + 1);
}

TEST_F(PermissionsManagerTest, CheckPermissionsPublishesBothOnALaterTurn)
{
    auto manager = makeManager();
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);
    QSignalSpy accessibility(manager.get(), &PermissionsManager::accessibilityPermissionChanged);
    ASSERT_TRUE(waitUntil([&] { return automation.count() >= 1 && accessibility.count() >= 1; }));
    automation.clear();
    accessibility.clear();

    probes->automationGranted = true;
    manager->checkPermissions();
    EXPECT_FALSE(manager->hasAutomationPermission());
    EXPECT_EQ(automation.count(), 0);
    ASSERT_TRUE(waitUntil([&] { return automation.count() >= 1; }));
    EXPECT_TRUE(manager->hasAutomationPermission());
    EXPECT_FALSE(manager->hasAccessibilityPermission());
    // The unchanged flag is published too.
    EXPECT_GE(accessibility.count(), 1);
}

TEST_F(PermissionsManagerTest, StopPollingEndsBothTimersAndSetsShuttingDownAtOnce)
{
    auto manager = makeManager();
    QPointer<QTimer> automationTimer = manager->automationTimer();
    QPointer<QTimer> accessibilityTimer = manager->accessibilityTimer();
    manager->stopPolling();
    EXPECT_TRUE(manager->isShuttingDown());
    ASSERT_TRUE(
        waitUntil([&] { return !manager->automationTimer() && !manager->accessibilityTimer(); }));
    // The timers themselves are gone, so nothing polls any more.
    ASSERT_TRUE(waitUntil([&] { return automationTimer.isNull() && accessibilityTimer.isNull(); }));
    EXPECT_EQ(probes->automationChecks, 1);
    EXPECT_EQ(probes->accessibilityChecks, 1);
}

TEST_F(PermissionsManagerTest, TimersNeverStartAfterStopPolling)
{
    auto manager = makeManager();
    manager->stopPolling();
    ASSERT_TRUE(
        waitUntil([&] { return !manager->automationTimer() && !manager->accessibilityTimer(); }));
    manager->checkPermissions();
    manager->requestAccessibilityPermission();
    manager->requestAutomationPermission();
    EXPECT_EQ(manager->automationTimer(), nullptr);
    EXPECT_EQ(manager->accessibilityTimer(), nullptr);
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);
    ASSERT_TRUE(waitUntil([&] { return automation.count() >= 2; }, 10s));
    EXPECT_EQ(manager->automationTimer(), nullptr);
    EXPECT_EQ(manager->accessibilityTimer(), nullptr);
    EXPECT_TRUE(manager->isShuttingDown());
}

TEST_F(PermissionsManagerTest, TickAfterStopPollingProbesNothing)
{
    auto manager = makeManager();
    QTimer* automationTimer = manager->automationTimer();
    ASSERT_NE(automationTimer, nullptr);
    const int checks = probes->automationChecks;
    manager->stopPolling();
    // A tick that fires before the timers are cleared stops its timer without probing.
    ASSERT_TRUE(QMetaObject::invokeMethod(automationTimer, "timeout", Qt::DirectConnection));
    EXPECT_FALSE(automationTimer->isActive());
    EXPECT_EQ(probes->automationChecks, checks);
}

TEST_F(PermissionsManagerTest, AfterStopPollingRequestAccessibilityOpensThePaneButStartsNoTimer)
{
    auto manager = makeManager();
    manager->stopPolling();
    ASSERT_TRUE(waitUntil([&] { return !manager->accessibilityTimer(); }));
    manager->requestAccessibilityPermission();
    EXPECT_EQ(opener->opened, QStringList{accessibilityPane.toString()});
    EXPECT_EQ(manager->accessibilityTimer(), nullptr);
    EXPECT_EQ(manager->automationTimer(), nullptr);
}

TEST_F(PermissionsManagerTest, RequestAccessibilityOpensThePaneAndRestartsPolling)
{
    probes->accessibilityGranted = true;
    auto manager = makeManager();
    ASSERT_TRUE(waitUntil([&] { return !manager->accessibilityTimer(); }));

    manager->requestAccessibilityPermission();
    EXPECT_EQ(opener->opened.size(), 1);
    EXPECT_EQ(opener->opened.value(0),
              QStringLiteral(
                  "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"));
    // Polling restarts even though the permission is granted, and ends on the next tick.
    ASSERT_TRUE(polling(manager->accessibilityTimer()));
    ASSERT_TRUE(waitUntil([&] { return !manager->accessibilityTimer(); }));
}

TEST_F(PermissionsManagerTest, RequestAccessibilityReplacesARunningTimer)
{
    auto manager = makeManager();
    QPointer<QTimer> first = manager->accessibilityTimer();
    ASSERT_TRUE(first);
    manager->requestAccessibilityPermission();
    EXPECT_TRUE(polling(manager->accessibilityTimer()));
    EXPECT_NE(manager->accessibilityTimer(), first.data());
    ASSERT_TRUE(waitUntil([&] { return first.isNull(); }));
    EXPECT_TRUE(polling(manager->accessibilityTimer()));
}

TEST_F(PermissionsManagerTest, RequestAutomationPublishesAboutOneSecondLaterWithoutATimer)
{
    auto manager = makeManager();
    manager->stopPolling();
    ASSERT_TRUE(waitUntil([&] { return !manager->automationTimer(); }));
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);

    probes->automationGranted = true;
    const int checks = probes->automationChecks;
    QElapsedTimer elapsed;
    elapsed.start();
    manager->requestAutomationPermission();
    EXPECT_EQ(probes->automationTriggers, 1);
    EXPECT_EQ(probes->automationChecks, checks);
    EXPECT_EQ(manager->automationTimer(), nullptr);

    ASSERT_TRUE(waitUntil([&] { return automation.count() == 1; }));
    EXPECT_GE(elapsed.elapsed(), 950);
    EXPECT_TRUE(automation.first().first().toBool());
    EXPECT_TRUE(manager->hasAutomationPermission());
    EXPECT_EQ(probes->automationChecks, checks + 1);
    EXPECT_EQ(manager->automationTimer(), nullptr);
}

TEST_F(PermissionsManagerTest, RequestAutomationPublishesADenialToo)
{
    auto manager = makeManager();
    QSignalSpy automation(manager.get(), &PermissionsManager::automationPermissionChanged);
    ASSERT_TRUE(waitUntil([&] { return automation.count() >= 1; }));
    manager->stopPolling();
    ASSERT_TRUE(waitUntil([&] { return !manager->automationTimer(); }));
    automation.clear();

    manager->requestAutomationPermission();
    ASSERT_TRUE(waitUntil([&] { return automation.count() == 1; }));
    EXPECT_FALSE(automation.first().first().toBool());
    EXPECT_FALSE(manager->hasAutomationPermission());
}

TEST_F(PermissionsManagerTest, DestructionStopsPolling)
{
    auto manager = makeManager();
    QPointer<QTimer> automationTimer = manager->automationTimer();
    QPointer<QTimer> accessibilityTimer = manager->accessibilityTimer();
    ASSERT_TRUE(automationTimer && accessibilityTimer);
    manager.reset();
    EXPECT_TRUE(automationTimer.isNull());
    EXPECT_TRUE(accessibilityTimer.isNull());
}

TEST_F(PermissionsManagerTest, RequestAutomationAfterDestructionNeverFires)
{
    auto manager = makeManager();
    manager->requestAutomationPermission();
    const int checks = probes->automationChecks;
    manager.reset();
    // A marker due after the re-check: once it has fired, the re-check would have too.
    bool markerFired = false;
    QTimer::singleShot(1200, [&] { markerFired = true; });
    ASSERT_TRUE(waitUntil([&] { return markerFired; }));
    EXPECT_EQ(probes->automationChecks, checks);
}
