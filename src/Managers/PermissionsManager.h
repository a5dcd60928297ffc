#pragma once

#include <QObject>
#include <QPointer>
#include <QTimer>

#include <memory>

class PermissionProbes;
class SystemSettingsOpener;

// Watches the Automation and Accessibility permissions: probes both at creation and polls
// every second for each one still missing, until it is granted or the monitor shuts down.
class PermissionsManager : public QObject
{
    Q_OBJECT
public:
    // With no probes or opener, the platform's own are used.
    explicit PermissionsManager(std::shared_ptr<PermissionProbes> probes = nullptr,
                                std::shared_ptr<SystemSettingsOpener> settingsOpener = nullptr,
                                QObject* parent = nullptr);
    ~PermissionsManager() override;

    bool hasAutomationPermission() const { return automationGranted; }
    bool hasAccessibilityPermission() const { return accessibilityGranted; }
    bool isShuttingDown() const { return shuttingDown; }

    void checkPermissions();
    void requestAutomationPermission();
    void requestAccessibilityPermission();
    void stopPolling();
    // Starts a one-second poll for each permission not yet seen granted that has none running;
    // nothing once shutting down. Views that show the flags call it when they appear.
    void startPollingIfNeeded();

    // The live timers, for observers and tests; null while not polling.
    QTimer* automationTimer() const { return automationPollTimer; }
    QTimer* accessibilityTimer() const { return accessibilityPollTimer; }

Q_SIGNALS:
    // Emitted on every publication, also when the value did not change.
    void automationPermissionChanged(bool granted);
    void accessibilityPermissionChanged(bool granted);

private:
    enum class Permission { automation, accessibility };

    // Replaces the permission's timer with a new one-second timer, unless shutting down.
    void startPolling(Permission permission);
    void pollTick(Permission permission, QTimer* timer);
    bool probe(Permission permission);
    void publish(Permission permission, bool granted);
    QPointer<QTimer>& timerFor(Permission permission);
    static void invalidate(QPointer<QTimer>& timer);

    std::shared_ptr<PermissionProbes> probes;
    std::shared_ptr<SystemSettingsOpener> settingsOpener;
    bool automationGranted = false;
    bool accessibilityGranted = false;
    bool shuttingDown = false;
    QPointer<QTimer> automationPollTimer;
    QPointer<QTimer> accessibilityPollTimer;
};
