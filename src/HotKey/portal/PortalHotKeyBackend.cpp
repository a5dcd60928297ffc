#include "PortalHotKeyBackend.h"

#include "HotKey/DeliveredHotKeyEvent.h"
#include "HotKey/HotKeysController.h"
#include "PortalTrigger.h"

#include <QLoggingCategory>

#include <algorithm>

namespace {

Q_LOGGING_CATEGORY(portalLog, "wisp.hotkey")

} // namespace

PortalHotKeyBackend::PortalHotKeyBackend(const QDBusConnection& bus) : bus(bus) {}

PortalHotKeyBackend::~PortalHotKeyBackend() = default;

HotKeyRegistration PortalHotKeyBackend::registrationFor(GlobalShortcutsPortal::Outcome outcome)
{
    switch (outcome) {
    case GlobalShortcutsPortal::Outcome::Granted:
        return HotKeyRegistration::registered;
    case GlobalShortcutsPortal::Outcome::Refused:
        return HotKeyRegistration::refused;
    case GlobalShortcutsPortal::Outcome::Absent:
        break;
    }
    return HotKeyRegistration::unavailable;
}

HotKeyBackend::Registration PortalHotKeyBackend::registerHotKey(const KeyCombo& keyCombo,
                                                                HotKeyEvent::HotKeyID hotKeyID)
{
    auto registration = std::make_unique<Registration>();
    registration->hotKeyID = hotKeyID;
    registration->portal = std::make_unique<GlobalShortcutsPortal>(bus);
    GlobalShortcutsPortal* portal = registration->portal.get();

    const QString trigger = PortalTrigger::fromKeyCombo(keyCombo);
    QObject::connect(portal, &GlobalShortcutsPortal::finished, portal,
                     [portal, hotKeyID, keyCombo](GlobalShortcutsPortal::Outcome outcome) {
                         switch (outcome) {
                         case GlobalShortcutsPortal::Outcome::Granted:
                             qCInfo(portalLog).noquote() << "Hot key" << keyCombo.description()
                                                         << "bound by the desktop portal as"
                                                         << portal->triggerDescription();
                             break;
                         case GlobalShortcutsPortal::Outcome::Refused:
                             qCWarning(portalLog).noquote()
                                 << "Hot key" << keyCombo.description()
                                 << "refused by the desktop portal:" << portal->reason();
                             break;
                         case GlobalShortcutsPortal::Outcome::Absent:
                             qCWarning(portalLog).noquote()
                                 << "Hot key" << keyCombo.description()
                                 << "is not available in this session: no global shortcuts "
                                    "portal ("
                                 << portal->reason() << ")";
                             break;
                         }
                         // Last: the hot key's listeners may unregister it.
                         HotKeysController::reportRegistration(hotKeyID.id,
                                                               registrationFor(outcome));
                     });
    QObject::connect(portal, &GlobalShortcutsPortal::activated, portal, [this, hotKeyID] {
        deliver(hotKeyID, HotKeysController::eventHotKeyPressed);
    });
    QObject::connect(portal, &GlobalShortcutsPortal::deactivated, portal, [this, hotKeyID] {
        deliver(hotKeyID, HotKeysController::eventHotKeyReleased);
    });

    registrations.push_back(std::move(registration));
    // The id names the combination, so the desktop remembers the user's answer for it.
    portal->bind(QStringLiteral("hotkey-") +
                     (trigger.isEmpty() ? QString::number(keyCombo.carbonKeyCode) : trigger),
                 shortcutDescription, trigger);
    // Nothing reaches the hot key until the user has allowed it; until then it waits.
    return {registrations.back().get(), HotKeyRegistration::waiting};
}

void PortalHotKeyBackend::unregisterHotKey(Ref registration)
{
    const auto found =
        std::find_if(registrations.begin(), registrations.end(),
                     [&](const auto& candidate) { return candidate.get() == registration; });
    if (found == registrations.end()) {
        return;
    }
    // Closing the session releases the shortcut. This may run inside the portal client's own
    // signal (a handler that replaces its hot key), so the client goes once that has returned.
    GlobalShortcutsPortal* portal = (*found)->portal.release();
    // Only its own signals: `destroyed` must still tell QtDBus that the client is gone.
    QObject::disconnect(portal, &GlobalShortcutsPortal::finished, nullptr, nullptr);
    QObject::disconnect(portal, &GlobalShortcutsPortal::activated, nullptr, nullptr);
    QObject::disconnect(portal, &GlobalShortcutsPortal::deactivated, nullptr, nullptr);
    portal->deleteLater();
    registrations.erase(found);
}

std::optional<GlobalShortcutsPortal::Outcome> PortalHotKeyBackend::answer(Ref registration) const
{
    for (const auto& held : registrations) {
        if (held.get() == registration) {
            return held->portal->outcome();
        }
    }
    return std::nullopt;
}

HotKeyBackend::Ref PortalHotKeyBackend::installEventHandler()
{
    handlerInstalled = true;
    return this;
}

void PortalHotKeyBackend::deliver(HotKeyEvent::HotKeyID hotKeyID, std::uint32_t kind)
{
    if (!handlerInstalled) {
        return;
    }
    const DeliveredHotKeyEvent event(hotKeyID, kind);
    HotKeysController::handleCarbonEvent(&event);
}
