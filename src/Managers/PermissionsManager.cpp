#include "PermissionsManager.h"

#include "Platform/PermissionProbes.h"
#include "Platform/SystemSettingsOpener.h"

#include <QMetaObject>
#include <QUrl>

#include <utility>

namespace {

constexpr int pollIntervalMs = 1000;
constexpr int automationRecheckDelayMs = 1000;

} // namespace

PermissionsManager::PermissionsManager(std::shared_ptr<PermissionProbes> probes,
                                       std::shared_ptr<SystemSettingsOpener> settingsOpener,
                                       QObject* parent)
    : QObject(parent)
    , probes(probes ? std::move(probes) : PermissionProbes::makeSystemProbes())
    , settingsOpener(settingsOpener ? std::move(settingsOpener)
                                    : SystemSettingsOpener::makeSystemOpener())
{
    // The probe results are published on a later turn of the event loop, so polling starts from
    // the initial false values; each timer ends itself on its first tick that finds the
    // permission granted.
    checkPermissions();
    startPollingIfNeeded();
}

PermissionsManager::~PermissionsManager()
{
    stopPolling();
}

void PermissionsManager::checkPermissions()
{
    const bool automation = probes->checkAutomationPermission();
    const bool accessibility = probes->checkAccessibilityPermission();
    QMetaObject::invokeMethod(
        this,
        [this, automation, accessibility] {
            publish(Permission::automation, automation);
            publish(Permission::accessibility, accessibility);
        },
        Qt::QueuedConnection);
}

void PermissionsManager::requestAutomationPermission()
{
    probes->triggerAutomationPermission();
    QTimer::singleShot(automationRecheckDelayMs, this,
                       [this] { publish(Permission::automation, probe(Permission::automation)); });
}

void PermissionsManager::requestAccessibilityPermission()
{
    settingsOpener->open(QStringLiteral(
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"));
    startPolling(Permission::accessibility);
}

void PermissionsManager::stopPolling()
{
    shuttingDown = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            invalidate(automationPollTimer);
            invalidate(accessibilityPollTimer);
        },
        Qt::QueuedConnection);
}

void PermissionsManager::startPollingIfNeeded()
{
    if (shuttingDown) {
        return;
    }
    if (!automationGranted && !automationPollTimer) {
        startPolling(Permission::automation);
    }
    if (!accessibilityGranted && !accessibilityPollTimer) {
        startPolling(Permission::accessibility);
    }
}

void PermissionsManager::startPolling(Permission permission)
{
    QPointer<QTimer>& slot = timerFor(permission);
    invalidate(slot);
    if (shuttingDown) {
        return;
    }
    auto* timer = new QTimer(this);
    timer->setInterval(pollIntervalMs);
    connect(timer, &QTimer::timeout, this,
            [this, permission, timer] { pollTick(permission, timer); });
    timer->start();
    slot = timer;
}

void PermissionsManager::pollTick(Permission permission, QTimer* timer)
{
    if (shuttingDown) {
        timer->stop();
        return;
    }
    const bool granted = probe(permission);
    QMetaObject::invokeMethod(
        this, [this, permission, granted] { publish(permission, granted); }, Qt::QueuedConnection);
    if (granted) {
        // Polling ends when the permission is first seen granted; a later revocation goes
        // unnoticed until polling is started again.
        QMetaObject::invokeMethod(
            this, [this, permission] { invalidate(timerFor(permission)); }, Qt::QueuedConnection);
    }
}

bool PermissionsManager::probe(Permission permission)
{
    return permission == Permission::automation ? probes->checkAutomationPermission()
                                                : probes->checkAccessibilityPermission();
}

void PermissionsManager::publish(Permission permission, bool granted)
{
    if (permission == Permission::automation) {
        automationGranted = granted;
        Q_EMIT automationPermissionChanged(granted);
    } else {
        accessibilityGranted = granted;
        Q_EMIT accessibilityPermissionChanged(granted);
    }
}

QPointer<QTimer>& PermissionsManager::timerFor(Permission permission)
{
    return permission == Permission::automation ? automationPollTimer : accessibilityPollTimer;
}

void PermissionsManager::invalidate(QPointer<QTimer>& timer)
{
    if (timer) {
        timer->stop();
        timer->deleteLater();
    }
    timer = nullptr;
}
