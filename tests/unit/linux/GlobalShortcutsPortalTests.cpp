#include "HotKey/HotKey.h"
#include "HotKey/HotKeysController.h"
#include "HotKey/portal/GlobalShortcutsPortal.h"
#include "HotKey/portal/PortalHotKeyBackend.h"

#include "fakes/FakeHotKeyBackend.h"
#include "support/PortalTest.h"
#include "support/QtPrinters.h"
#include "support/TestSupport.h"

#include <QCoreApplication>
#include <QSignalSpy>

#include <gtest/gtest.h>

#include <memory>
#include <optional>

using namespace std::chrono_literals;
using Outcome = GlobalShortcutsPortal::Outcome;

namespace {

class GlobalShortcutsPortalTest : public PortalTest
{
protected:
    // Starts the stand-in portal with `arguments` and waits until it owns the portal's name.
    void startPortal(const QStringList& arguments)
    {
        QString error;
        ASSERT_TRUE(standIn.start(arguments, &error)) << error.toStdString();
    }

    // The calls the stand-in portal has received, one line each.
    QStringList portalCalls() { return standIn.calls(); }

    // Makes the stand-in press and release the shortcut `id`.
    void pressShortcut(const QString& id) { ASSERT_TRUE(standIn.press(id)); }

    // Binds the default shortcut and waits for the portal's answer.
    std::optional<Outcome> bindDefault(GlobalShortcutsPortal& portal)
    {
        portal.bind(QStringLiteral("hotkey-CTRL+ALT+l"), QStringLiteral("Open the site"),
                    QStringLiteral("CTRL+ALT+l"));
        TestSupport::waitUntil([&] { return portal.outcome().has_value(); });
        return portal.outcome();
    }
};

} // namespace

TEST_F(GlobalShortcutsPortalTest, GrantedShortcutIsBoundWithItsPreferredTrigger)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("grant")});
    GlobalShortcutsPortal portal(bus.connection());
    QSignalSpy finished(&portal, &GlobalShortcutsPortal::finished);

    EXPECT_EQ(bindDefault(portal), Outcome::Granted);
    EXPECT_EQ(finished.count(), 1);
    EXPECT_EQ(portal.triggerDescription(), QStringLiteral("Ctrl+Alt+L"));
    EXPECT_EQ(portalCalls(), QStringList({QStringLiteral("CreateSession"),
                                          QStringLiteral("BindShortcuts session hotkey-CTRL+ALT+l "
                                                         "description=Open the site "
                                                         "preferred_trigger=CTRL+ALT+l")}));
}

TEST_F(GlobalShortcutsPortalTest, UserDecliningTheDialogIsRefused)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("cancel")});
    GlobalShortcutsPortal portal(bus.connection());

    EXPECT_EQ(bindDefault(portal), Outcome::Refused);
    EXPECT_EQ(portal.reason(), QStringLiteral("the user declined it"));
}

TEST_F(GlobalShortcutsPortalTest, ShortcutLeftWithoutTriggerIsRefused)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("unbound")});
    GlobalShortcutsPortal portal(bus.connection());

    EXPECT_EQ(bindDefault(portal), Outcome::Refused);
    EXPECT_EQ(portal.reason(), QStringLiteral("the portal bound no trigger to it"));
}

TEST_F(GlobalShortcutsPortalTest, NoPortalOnTheBusIsAbsent)
{
    GlobalShortcutsPortal portal(bus.connection());

    EXPECT_EQ(bindDefault(portal), Outcome::Absent);
}

TEST_F(GlobalShortcutsPortalTest, PortalWithoutGlobalShortcutsIsAbsentAndNotAsked)
{
    startPortal({QStringLiteral("--without-shortcuts")});
    GlobalShortcutsPortal portal(bus.connection());

    EXPECT_EQ(bindDefault(portal), Outcome::Absent);
    EXPECT_TRUE(portalCalls().isEmpty());
}

TEST_F(GlobalShortcutsPortalTest, ActivationOfTheBoundShortcutIsReported)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("grant")});
    GlobalShortcutsPortal portal(bus.connection());
    ASSERT_EQ(bindDefault(portal), Outcome::Granted);
    QSignalSpy activated(&portal, &GlobalShortcutsPortal::activated);
    QSignalSpy deactivated(&portal, &GlobalShortcutsPortal::deactivated);

    pressShortcut(QStringLiteral("hotkey-CTRL+ALT+l"));

    ASSERT_TRUE(TestSupport::waitUntil([&] { return deactivated.count() == 1; }));
    ASSERT_EQ(activated.count(), 1);
    EXPECT_EQ(activated.first().first().toString(), QStringLiteral("hotkey-CTRL+ALT+l"));
}

TEST_F(GlobalShortcutsPortalTest, ActivationOfAnotherShortcutIsIgnored)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("grant")});
    GlobalShortcutsPortal portal(bus.connection());
    ASSERT_EQ(bindDefault(portal), Outcome::Granted);
    QSignalSpy activated(&portal, &GlobalShortcutsPortal::activated);

    pressShortcut(QStringLiteral("someone-else"));
    // A round trip after the signals: they have been delivered by the time it returns.
    pressShortcut(QStringLiteral("hotkey-CTRL+ALT+l"));

    ASSERT_TRUE(TestSupport::waitUntil([&] { return activated.count() >= 1; }));
    EXPECT_EQ(activated.count(), 1);
    EXPECT_EQ(activated.first().first().toString(), QStringLiteral("hotkey-CTRL+ALT+l"));
}

TEST_F(GlobalShortcutsPortalTest, GrantedHotKeyIsRegisteredAndItsHandlersRunOncePerPress)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("grant")});
    auto backend = std::make_unique<PortalHotKeyBackend>(bus.connection());
    backend->setShortcutDescription(QStringLiteral("Open the site"));
    HotKeysController::setBackend(std::move(backend));

    int downs = 0;
    int ups = 0;
    HotKey hotKey(
        KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option), [&] { ++downs; },
        [&] { ++ups; });
    QSignalSpy changes(&hotKey, &HotKey::registrationChanged);
    // Until the user has answered, nothing reaches the hot key, and it waits.
    EXPECT_EQ(hotKey.registration(), HotKeyRegistration::waiting);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return changes.count() == 1; }));
    EXPECT_EQ(hotKey.registration(), HotKeyRegistration::registered);
    EXPECT_TRUE(portalCalls().contains(
        QStringLiteral("BindShortcuts session hotkey-CTRL+ALT+l description=Open the site "
                       "preferred_trigger=CTRL+ALT+l")));

    pressShortcut(QStringLiteral("hotkey-CTRL+ALT+l"));

    ASSERT_TRUE(TestSupport::waitUntil([&] { return ups == 1; }));
    EXPECT_EQ(downs, 1);
}

TEST_F(GlobalShortcutsPortalTest, RefusedHotKeyIsRefused)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("cancel")});
    HotKeysController::setBackend(std::make_unique<PortalHotKeyBackend>(bus.connection()));

    HotKey hotKey(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option));
    QSignalSpy changes(&hotKey, &HotKey::registrationChanged);

    ASSERT_TRUE(TestSupport::waitUntil([&] { return changes.count() == 1; }));
    EXPECT_EQ(hotKey.registration(), HotKeyRegistration::refused);
}

TEST_F(GlobalShortcutsPortalTest, HotKeyWithoutPortalIsUnavailable)
{
    auto owned = std::make_unique<PortalHotKeyBackend>(bus.connection());
    PortalHotKeyBackend* backend = owned.get();
    HotKeysController::setBackend(std::move(owned));

    HotKey hotKey(KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option));
    const HotKeyBackend::Ref registration =
        HotKeysController::hotKeys.at(HotKeysController::lastHotKeyID()).carbonEventHotKey;

    ASSERT_TRUE(TestSupport::waitUntil([&] { return backend->answer(registration).has_value(); }));
    EXPECT_EQ(backend->answer(registration), Outcome::Absent);
    EXPECT_EQ(hotKey.registration(), HotKeyRegistration::unavailable);
}

TEST_F(GlobalShortcutsPortalTest, DroppedHotKeyClosesItsPortalSession)
{
    startPortal({QStringLiteral("--answer"), QStringLiteral("grant")});
    HotKeysController::setBackend(std::make_unique<PortalHotKeyBackend>(bus.connection()));
    int downs = 0;
    auto hotKey = std::make_unique<HotKey>(
        KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option), [&] { ++downs; });
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] { return hotKey->registration() == HotKeyRegistration::registered; }));

    hotKey.reset();

    ASSERT_TRUE(TestSupport::waitUntil([&] {
        const QStringList calls = portalCalls();
        return !calls.isEmpty() && calls.last().startsWith(QStringLiteral("Close /"));
    }));
    pressShortcut(QStringLiteral("hotkey-CTRL+ALT+l"));
    // The signals came before the answer to the call; delivering them takes one pass.
    QCoreApplication::processEvents();
    EXPECT_EQ(downs, 0);
}
