#include "HotKey/HotKey.h"
#include "HotKey/HotKeysController.h"

#include "fakes/FakeHotKeyBackend.h"
#include "support/QtPrinters.h"

#include <QList>
#include <QObject>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

namespace {

class HotKeysControllerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        backend = FakeHotKeyBackend::install();
        // The counter is process-wide and never goes back: ids are counted from here.
        firstId = HotKeysController::lastHotKeyID() + 1;
    }

    // The id under which `hotKey` is registered; 0 when it has no box.
    static std::uint32_t idOf(const HotKey& hotKey)
    {
        for (const auto& [id, box] : HotKeysController::hotKeys) {
            if (box.identifier == hotKey.identifier) {
                return id;
            }
        }
        return 0;
    }

    static int boxCount(const HotKey& hotKey)
    {
        int count = 0;
        for (const auto& [id, box] : HotKeysController::hotKeys) {
            count += box.identifier == hotKey.identifier ? 1 : 0;
        }
        return count;
    }

    FakeHotKeyBackend* backend = nullptr;
    std::uint32_t firstId = 0;
    const KeyCombo controlOptionL =
        KeyCombo(Key::l, ModifierFlags::control | ModifierFlags::option);
};

constexpr auto pressed = HotKeysController::eventHotKeyPressed;
constexpr auto released = HotKeysController::eventHotKeyReleased;
constexpr auto noErr = HotKeysController::noErr;
constexpr auto notHandled = HotKeysController::eventNotHandledErr;

} // namespace

TEST(HotKeysControllerConstants, MatchTheEventManagersValues)
{
    EXPECT_EQ(HotKeysController::eventHotKeySignature, 0x5353486Bu);
    // "SSHk" read as big-endian bytes.
    const QByteArray code("SSHk");
    const std::uint32_t fromText = (std::uint32_t(std::uint8_t(code[0])) << 24) |
                                   (std::uint32_t(std::uint8_t(code[1])) << 16) |
                                   (std::uint32_t(std::uint8_t(code[2])) << 8) |
                                   std::uint32_t(std::uint8_t(code[3]));
    EXPECT_EQ(HotKeysController::eventHotKeySignature, fromText);
    EXPECT_EQ(HotKeysController::eventClassKeyboard, 0x6B657962u);
    EXPECT_EQ(HotKeysController::eventHotKeyPressed, 5u);
    EXPECT_EQ(HotKeysController::eventHotKeyReleased, 6u);
    EXPECT_EQ(HotKeysController::noErr, 0);
    EXPECT_EQ(HotKeysController::eventNotHandledErr, -9874);
}

TEST_F(HotKeysControllerTest, CreationRegistersWithSignatureAndTheNextId)
{
    HotKey hotKey(controlOptionL);
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live[0].keyCombo, controlOptionL);
    EXPECT_EQ(backend->live[0].hotKeyID.signature, 0x5353486Bu);
    EXPECT_EQ(backend->live[0].hotKeyID.id, firstId);
    ASSERT_EQ(HotKeysController::hotKeys.size(), 1u);
    ASSERT_EQ(HotKeysController::hotKeys.count(firstId), 1u);
    const HotKeysController::HotKeyBox& box = HotKeysController::hotKeys.at(firstId);
    EXPECT_EQ(box.identifier, hotKey.identifier);
    EXPECT_EQ(box.hotKey.data(), &hotKey);
    EXPECT_EQ(box.carbonHotKeyID, firstId);
    EXPECT_EQ(box.carbonEventHotKey, backend->live[0].ref);
    EXPECT_FALSE(hotKey.isPaused());
    EXPECT_FALSE(hotKey.identifier.isNull());
}

TEST_F(HotKeysControllerTest, ConvenienceConstructorsBuildTheCombo)
{
    HotKey byCode(37, 0x1800);
    HotKey byKey(Key::k, ModifierFlags::command);
    EXPECT_EQ(byCode.keyCombo, controlOptionL);
    EXPECT_EQ(byKey.keyCombo.carbonKeyCode, 40u);
    EXPECT_EQ(byKey.keyCombo.carbonModifiers, 0x100u);
    EXPECT_NE(byCode.identifier, byKey.identifier);
}

TEST_F(HotKeysControllerTest, EventHandlerIsInstalledOnceOnFirstSuccessfulRegistration)
{
    EXPECT_EQ(HotKeysController::eventHandler(), nullptr);
    backend->refuseRegistrations = true;
    HotKey refused(controlOptionL);
    EXPECT_EQ(backend->eventHandlerInstalls, 0);
    EXPECT_EQ(HotKeysController::eventHandler(), nullptr);

    backend->refuseRegistrations = false;
    auto first = std::make_unique<HotKey>(KeyCombo(Key::k, ModifierFlags::command));
    HotKey second(KeyCombo(Key::j, ModifierFlags::command));
    EXPECT_EQ(backend->eventHandlerInstalls, 1);
    EXPECT_NE(HotKeysController::eventHandler(), nullptr);

    // The handler stays when every hot key is gone.
    first.reset();
    second.setPaused(true);
    HotKey third(KeyCombo(Key::h, ModifierFlags::command));
    EXPECT_EQ(backend->eventHandlerInstalls, 1);
    EXPECT_NE(HotKeysController::eventHandler(), nullptr);
}

TEST_F(HotKeysControllerTest, RegisteringTheSameHotKeyTwiceLeavesOneBox)
{
    HotKey hotKey(controlOptionL);
    HotKeysController::register_(&hotKey);
    HotKeysController::register_(&hotKey);
    EXPECT_EQ(boxCount(hotKey), 1);
    EXPECT_EQ(HotKeysController::hotKeys.size(), 1u);
    EXPECT_EQ(backend->attempts.size(), 1);
    EXPECT_EQ(HotKeysController::lastHotKeyID(), firstId);
}

TEST_F(HotKeysControllerTest, ResumingAnUnpausedHotKeyKeepsItsBox)
{
    HotKey hotKey(controlOptionL);
    hotKey.setPaused(false);
    EXPECT_EQ(boxCount(hotKey), 1);
    EXPECT_EQ(idOf(hotKey), firstId);
}

TEST_F(HotKeysControllerTest, PausingThenResumingGivesANewHigherIdAndDropsTheOld)
{
    HotKey hotKey(controlOptionL);
    const std::uint32_t oldId = idOf(hotKey);
    ASSERT_NE(oldId, 0u);
    const HotKeyBackend::Ref oldRef = HotKeysController::hotKeys.at(oldId).carbonEventHotKey;

    hotKey.setPaused(true);
    EXPECT_TRUE(hotKey.isPaused());
    EXPECT_EQ(HotKeysController::hotKeys.count(oldId), 0u);
    EXPECT_EQ(idOf(hotKey), 0u);
    EXPECT_EQ(backend->unregistered, QList<HotKeyBackend::Ref>{oldRef});
    EXPECT_TRUE(backend->live.isEmpty());

    hotKey.setPaused(false);
    const std::uint32_t newId = idOf(hotKey);
    EXPECT_FALSE(hotKey.isPaused());
    EXPECT_GT(newId, oldId);
    EXPECT_EQ(HotKeysController::hotKeys.count(oldId), 0u);
    EXPECT_EQ(boxCount(hotKey), 1);
    ASSERT_EQ(backend->live.size(), 1);
    EXPECT_EQ(backend->live[0].hotKeyID.id, newId);

    // Events for the old id no longer reach it; the new id does.
    int presses = 0;
    hotKey.keyDownHandler = [&] {
        ++presses;
    };
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, oldId), notHandled);
    EXPECT_EQ(presses, 0);
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, newId), noErr);
    EXPECT_EQ(presses, 1);
}

TEST_F(HotKeysControllerTest, IdsAreNeverReused)
{
    auto first = std::make_unique<HotKey>(controlOptionL);
    EXPECT_EQ(idOf(*first), firstId);
    first.reset();
    HotKey second(controlOptionL);
    EXPECT_EQ(idOf(second), firstId + 1);
    HotKey third(KeyCombo(Key::k, ModifierFlags::command));
    EXPECT_EQ(idOf(third), firstId + 2);
    EXPECT_EQ(HotKeysController::lastHotKeyID(), firstId + 2);
}

TEST_F(HotKeysControllerTest, DestructionUnregisters)
{
    auto hotKey = std::make_unique<HotKey>(controlOptionL);
    const HotKeyBackend::Ref ref = backend->live.value(0).ref;
    hotKey.reset();
    EXPECT_TRUE(HotKeysController::hotKeys.empty());
    EXPECT_EQ(backend->unregistered, QList<HotKeyBackend::Ref>{ref});
    EXPECT_TRUE(backend->live.isEmpty());
}

TEST_F(HotKeysControllerTest, UnregisteringAnUnknownHotKeyDoesNothing)
{
    HotKey hotKey(controlOptionL);
    hotKey.setPaused(true);
    HotKeysController::unregister(&hotKey);
    HotKeysController::unregister(nullptr);
    EXPECT_EQ(backend->unregistered.size(), 1);
}

TEST_F(HotKeysControllerTest, PressedEventRunsTheKeyDownHandler)
{
    int downs = 0;
    int ups = 0;
    HotKey hotKey(
        controlOptionL, [&] { ++downs; }, [&] { ++ups; });
    EXPECT_EQ(backend->press(controlOptionL), noErr);
    EXPECT_EQ(downs, 1);
    EXPECT_EQ(ups, 0);
    EXPECT_EQ(backend->release(controlOptionL), noErr);
    EXPECT_EQ(downs, 1);
    EXPECT_EQ(ups, 1);
}

TEST_F(HotKeysControllerTest, ReleasedEventWithoutKeyUpHandlerReturnsNotHandledAndCallsNothing)
{
    int downs = 0;
    HotKey hotKey(controlOptionL, [&] { ++downs; });
    EXPECT_EQ(FakeHotKeyBackend::deliver(released, idOf(hotKey)), -9874);
    EXPECT_EQ(downs, 0);
}

TEST_F(HotKeysControllerTest, PressedEventWithoutKeyDownHandlerReturnsNotHandled)
{
    int ups = 0;
    HotKey hotKey(controlOptionL, {}, [&] { ++ups; });
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, idOf(hotKey)), notHandled);
    EXPECT_EQ(ups, 0);
}

TEST_F(HotKeysControllerTest, ForeignSignatureIsPassedOnUnhandled)
{
    int downs = 0;
    HotKey hotKey(controlOptionL, [&] { ++downs; });
    // "ABCD", and the signature with its bytes swapped.
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, idOf(hotKey), 0x41424344), -9874);
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, idOf(hotKey), 0x6B485353), -9874);
    EXPECT_EQ(downs, 0);
    EXPECT_EQ(boxCount(hotKey), 1);
}

TEST_F(HotKeysControllerTest, UnknownIdIsPassedOnUnhandled)
{
    int downs = 0;
    HotKey hotKey(controlOptionL, [&] { ++downs; });
    // An id far past the counter: no hot key has it.
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, firstId + 1000), notHandled);
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, 0), notHandled);
    EXPECT_EQ(downs, 0);
}

TEST_F(HotKeysControllerTest, NoEventIsNotHandled)
{
    EXPECT_EQ(HotKeysController::handleCarbonEvent(nullptr), notHandled);
}

TEST_F(HotKeysControllerTest, UnreadableHotKeyIdReturnsTheReadStatus)
{
    int downs = 0;
    HotKey hotKey(controlOptionL, [&] { ++downs; });
    // eventParameterNotFoundErr
    const FakeHotKeyEvent event(pressed, idOf(hotKey), HotKeysController::eventHotKeySignature,
                                -9870);
    EXPECT_EQ(HotKeysController::handleCarbonEvent(&event), -9870);
    EXPECT_EQ(downs, 0);
}

TEST_F(HotKeysControllerTest, OtherEventKindsAreNotHandled)
{
    int calls = 0;
    HotKey hotKey(
        controlOptionL, [&] { ++calls; }, [&] { ++calls; });
    for (std::uint32_t kind : {0u, 1u, 4u, 7u, 1000u}) {
        EXPECT_EQ(FakeHotKeyBackend::deliver(kind, idOf(hotKey)), notHandled) << kind;
    }
    EXPECT_EQ(calls, 0);
}

TEST_F(HotKeysControllerTest, BoxWhoseHotKeyIsGoneIsRemoved)
{
    // A box left behind by a hot key that no longer exists, under an id the counter has not
    // reached.
    const std::uint32_t staleId = firstId + 1000;
    HotKeysController::hotKeys[staleId] =
        HotKeysController::HotKeyBox{QUuid::createUuid(), nullptr, staleId, nullptr};
    HotKey hotKey(controlOptionL);
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, staleId), notHandled);
    EXPECT_EQ(HotKeysController::hotKeys.count(staleId), 0u);
    EXPECT_EQ(boxCount(hotKey), 1);
}

TEST_F(HotKeysControllerTest, PausedHotKeyIsNotHandled)
{
    int downs = 0;
    HotKey hotKey(controlOptionL, [&] { ++downs; });
    const std::uint32_t id = idOf(hotKey);
    hotKey.setPaused(true);
    // Pausing drops the box, so its id is unknown now.
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, id), notHandled);
    // Even with a box pointing at it, a paused hot key handles nothing.
    HotKeysController::hotKeys[id] =
        HotKeysController::HotKeyBox{hotKey.identifier, &hotKey, id, nullptr};
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, id), notHandled);
    EXPECT_EQ(downs, 0);
    HotKeysController::hotKeys.erase(id);
}

TEST_F(HotKeysControllerTest, FailedRegistrationLeavesItsBoxWithoutARegistration)
{
    backend->refuseRegistrations = true;
    int downs = 0;
    auto hotKey = std::make_unique<HotKey>(controlOptionL, [&] { ++downs; });
    const std::uint32_t id = idOf(*hotKey);
    ASSERT_NE(id, 0u);
    EXPECT_EQ(HotKeysController::hotKeys.at(id).carbonEventHotKey, nullptr);
    EXPECT_EQ(HotKeysController::hotKeys.at(id).hotKey.data(), hotKey.get());
    EXPECT_EQ(backend->attempts.size(), 1);
    EXPECT_TRUE(backend->live.isEmpty());

    // Registering again is a no-op: the box is there.
    backend->refuseRegistrations = false;
    HotKeysController::register_(hotKey.get());
    EXPECT_EQ(backend->attempts.size(), 1);

    // Only unregistration drops the box; nothing is unregistered with the event manager.
    hotKey.reset();
    EXPECT_EQ(HotKeysController::hotKeys.count(id), 0u);
    EXPECT_TRUE(backend->unregistered.isEmpty());
    EXPECT_EQ(downs, 0);
}

TEST_F(HotKeysControllerTest, RegistrationOutcomeIsKeptInTheBoxAndOnTheHotKey)
{
    HotKey registered(controlOptionL);
    EXPECT_EQ(registered.registration(), HotKeyRegistration::registered);
    EXPECT_EQ(HotKeysController::hotKeys.at(idOf(registered)).registration,
              HotKeyRegistration::registered);

    backend->refuseRegistrations = true;
    HotKey taken(KeyCombo(Key::k, ModifierFlags::control));
    EXPECT_EQ(taken.registration(), HotKeyRegistration::taken);
    EXPECT_EQ(HotKeysController::hotKeys.at(idOf(taken)).registration, HotKeyRegistration::taken);

    backend->refusal = HotKeyRegistration::unavailable;
    HotKey unavailable(KeyCombo(Key::j, ModifierFlags::control));
    EXPECT_EQ(unavailable.registration(), HotKeyRegistration::unavailable);
    EXPECT_EQ(HotKeysController::hotKeys.at(idOf(unavailable)).carbonEventHotKey, nullptr);
}

TEST_F(HotKeysControllerTest, LaterAnswerOfTheBackendReachesTheHotKey)
{
    HotKey hotKey(controlOptionL);
    QList<HotKeyRegistration> changes;
    QObject::connect(&hotKey, &HotKey::registrationChanged,
                     [&](HotKeyRegistration registration) { changes.append(registration); });

    HotKeysController::reportRegistration(idOf(hotKey), HotKeyRegistration::taken);
    EXPECT_EQ(hotKey.registration(), HotKeyRegistration::taken);
    EXPECT_EQ(HotKeysController::hotKeys.at(idOf(hotKey)).registration, HotKeyRegistration::taken);
    // The same answer again is no change.
    HotKeysController::reportRegistration(idOf(hotKey), HotKeyRegistration::taken);
    HotKeysController::reportRegistration(idOf(hotKey), HotKeyRegistration::registered);
    EXPECT_EQ(changes, (QList<HotKeyRegistration>{HotKeyRegistration::taken,
                                                  HotKeyRegistration::registered}));

    // An id nobody holds is ignored.
    HotKeysController::reportRegistration(HotKeysController::lastHotKeyID() + 1000,
                                          HotKeyRegistration::taken);
    EXPECT_EQ(hotKey.registration(), HotKeyRegistration::registered);
}

TEST_F(HotKeysControllerTest, HandlerMayDropItsOwnHotKey)
{
    std::unique_ptr<HotKey> hotKey;
    int downs = 0;
    hotKey = std::make_unique<HotKey>(controlOptionL, [&] {
        ++downs;
        hotKey.reset();
    });
    EXPECT_EQ(backend->press(controlOptionL), noErr);
    EXPECT_EQ(downs, 1);
    EXPECT_EQ(hotKey, nullptr);
    EXPECT_TRUE(HotKeysController::hotKeys.empty());
}

TEST_F(HotKeysControllerTest, EachHotKeyGetsOnlyItsOwnEvents)
{
    int l = 0;
    int k = 0;
    HotKey first(controlOptionL, [&] { ++l; });
    HotKey second(KeyCombo(Key::k, ModifierFlags::control), [&] { ++k; });
    EXPECT_EQ(FakeHotKeyBackend::deliver(pressed, idOf(second)), noErr);
    EXPECT_EQ(l, 0);
    EXPECT_EQ(k, 1);
}

TEST(HotKeysControllerIds, CounterCountsUpFromOne)
{
    std::uint32_t counter = 0;
    EXPECT_EQ(HotKeysController::nextHotKeyID(counter), 1u);
    EXPECT_EQ(HotKeysController::nextHotKeyID(counter), 2u);
    EXPECT_EQ(counter, 2u);
    counter = std::numeric_limits<std::uint32_t>::max() - 1;
    EXPECT_EQ(HotKeysController::nextHotKeyID(counter), 4294967295u);
}

TEST(HotKeysControllerDeathTest, CounterOverflowIsFatal)
{
    std::uint32_t counter = std::numeric_limits<std::uint32_t>::max();
    EXPECT_DEATH(HotKeysController::nextHotKeyID(counter), "overflowed past 4294967295");
}
