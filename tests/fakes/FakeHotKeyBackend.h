#pragma once

#include "HotKey/HotKeyBackend.h"
#include "HotKey/HotKeysController.h"

#include <QList>

#include <cstdint>
#include <utility>

// A hot key event made up by a test: any id, signature, kind and read status.
class FakeHotKeyEvent : public HotKeyEvent
{
public:
    FakeHotKeyEvent(std::uint32_t kind, std::uint32_t id,
                    std::uint32_t signature = HotKeysController::eventHotKeySignature,
                    std::int32_t readStatus = HotKeysController::noErr)
        : hotKeyID{signature, id}, eventKind(kind), readStatus(readStatus)
    {}

    std::int32_t readHotKeyID(HotKeyID* out) const override
    {
        if (readStatus == HotKeysController::noErr) {
            *out = hotKeyID;
        }
        return readStatus;
    }
    std::uint32_t kind() const override { return eventKind; }

    HotKeyID hotKeyID;
    std::uint32_t eventKind;
    std::int32_t readStatus;
};

// An event manager that records registrations and lets tests deliver events.
class FakeHotKeyBackend : public HotKeyBackend
{
public:
    struct Registration
    {
        KeyCombo keyCombo{0};
        HotKeyEvent::HotKeyID hotKeyID;
        Ref ref = nullptr;
    };

    // Makes a fake the controller's backend and returns it (the controller owns it).
    static FakeHotKeyBackend* install()
    {
        auto backend = std::make_unique<FakeHotKeyBackend>();
        FakeHotKeyBackend* raw = backend.get();
        HotKeysController::setBackend(std::move(backend));
        return raw;
    }

    // When true, registrations are refused as an event manager refuses a taken combination.
    bool refuseRegistrations = false;
    // What a refusal says.
    HotKeyRegistration refusal = HotKeyRegistration::taken;
    // Combinations refused whatever refuseRegistrations says, with the answer given.
    QList<std::pair<KeyCombo, HotKeyRegistration>> refusedCombos;

    // Every registration attempt, in order, refused ones with a null ref.
    QList<Registration> attempts;
    // The registrations currently held.
    QList<Registration> live;
    QList<Ref> unregistered;
    int eventHandlerInstalls = 0;

    HotKeyBackend::Registration registerHotKey(const KeyCombo& keyCombo,
                                               HotKeyEvent::HotKeyID hotKeyID) override
    {
        Registration registration{keyCombo, hotKeyID, nullptr};
        HotKeyRegistration outcome = refuseRegistrations ? refusal : HotKeyRegistration::registered;
        for (const auto& [combo, answer] : refusedCombos) {
            if (combo == keyCombo) {
                outcome = answer;
            }
        }
        if (outcome == HotKeyRegistration::registered) {
            registration.ref = reinterpret_cast<Ref>(static_cast<std::uintptr_t>(++refCount));
            live.append(registration);
        }
        attempts.append(registration);
        return {registration.ref, outcome};
    }

    void unregisterHotKey(Ref registration) override
    {
        unregistered.append(registration);
        live.removeIf([&](const Registration& entry) { return entry.ref == registration; });
    }

    Ref installEventHandler() override
    {
        ++eventHandlerInstalls;
        return &eventHandlerInstalls;
    }

    // Delivers an event as the event manager would.
    static std::int32_t deliver(std::uint32_t kind, std::uint32_t id,
                                std::uint32_t signature = HotKeysController::eventHotKeySignature)
    {
        const FakeHotKeyEvent event(kind, id, signature);
        return HotKeysController::handleCarbonEvent(&event);
    }

    // Presses or releases the live registration of `keyCombo`; eventNotHandledErr when there is
    // none.
    std::int32_t press(const KeyCombo& keyCombo) const
    {
        return send(keyCombo, HotKeysController::eventHotKeyPressed);
    }
    std::int32_t release(const KeyCombo& keyCombo) const
    {
        return send(keyCombo, HotKeysController::eventHotKeyReleased);
    }

private:
    std::int32_t send(const KeyCombo& keyCombo, std::uint32_t kind) const
    {
        for (const Registration& registration : live) {
            if (registration.keyCombo == keyCombo) {
                const FakeHotKeyEvent event(kind, registration.hotKeyID.id,
                                            registration.hotKeyID.signature);
                return HotKeysController::handleCarbonEvent(&event);
            }
        }
        return HotKeysController::eventNotHandledErr;
    }

    std::uintptr_t refCount = 0;
};
