#pragma once

#include "GlobalShortcutsPortal.h"
#include "HotKey/HotKeyBackend.h"

#include <QDBusConnection>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

// Hot keys through the desktop's global shortcuts portal, for Wayland sessions. Each
// registration is a portal session of its own. The portal asks the user first, so a
// registration starts out waiting and the answer is reported to the controller when it comes:
// granted is registered, refused is refused, no portal is unavailable. Presses reach the
// controller with the kinds and id the event manager would give them.
class PortalHotKeyBackend final : public HotKeyBackend
{
public:
    using OutcomeHandler =
        std::function<void(HotKeyEvent::HotKeyID hotKeyID, GlobalShortcutsPortal::Outcome outcome)>;

    explicit PortalHotKeyBackend(const QDBusConnection& bus = QDBusConnection::sessionBus());
    ~PortalHotKeyBackend() override;

    Registration registerHotKey(const KeyCombo& keyCombo, HotKeyEvent::HotKeyID hotKeyID) override;
    void unregisterHotKey(Ref registration) override;
    Ref installEventHandler() override;

    // What the portal's consent dialog says the shortcut does.
    void setShortcutDescription(const QString& description) { shortcutDescription = description; }

    static HotKeyRegistration registrationFor(GlobalShortcutsPortal::Outcome outcome);
    // The portal's answer to a registration this backend holds; unset while it is awaited.
    std::optional<GlobalShortcutsPortal::Outcome> answer(Ref registration) const;

private:
    struct Registration
    {
        HotKeyEvent::HotKeyID hotKeyID;
        std::unique_ptr<GlobalShortcutsPortal> portal;
    };

    void deliver(HotKeyEvent::HotKeyID hotKeyID, std::uint32_t kind);

    QDBusConnection bus;
    QString shortcutDescription = QStringLiteral("Global shortcut");
    std::vector<std::unique_ptr<Registration>> registrations;
    bool handlerInstalled = false;
};
