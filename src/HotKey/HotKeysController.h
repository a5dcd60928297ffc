#pragma once

#include "HotKeyBackend.h"
#include "HotKeyEvent.h"

#include <QPointer>
#include <QUuid>

#include <cstdint>
#include <map>
#include <memory>

class HotKey;

// The process-wide registry of hot keys: hands each registration a fresh id, keeps one box per
// registered hot key and routes the event manager's events to the hot key they belong to.
// Main thread only.
class HotKeysController
{
public:
    using OSStatus = std::int32_t;

    static constexpr OSStatus noErr = 0;
    static constexpr OSStatus eventNotHandledErr = -9874;
    // "SSHk", the four characters read as a big-endian number.
    static constexpr std::uint32_t eventHotKeySignature = 0x5353486B;
    // kEventClassKeyboard ("keyb") and its two hot key event kinds.
    static constexpr std::uint32_t eventClassKeyboard = 0x6B657962;
    static constexpr std::uint32_t eventHotKeyPressed = 5;
    static constexpr std::uint32_t eventHotKeyReleased = 6;

    struct HotKeyBox
    {
        QUuid identifier;
        QPointer<HotKey> hotKey;
        std::uint32_t carbonHotKeyID = 0;
        // The event manager's registration; null until registration succeeds.
        HotKeyBackend::Ref carbonEventHotKey = nullptr;
        HotKeyRegistration registration = HotKeyRegistration::unavailable;
    };

    HotKeysController() = delete;

    // Boxes by the id given to the event manager.
    static std::map<std::uint32_t, HotKeyBox> hotKeys;

    // Registers `hotKey` unless it already has a box. A refused registration keeps its box
    // (without a registration) until the hot key is unregistered; the hot key's registration()
    // says why it was refused.
    static void register_(HotKey* hotKey);
    // A backend's new answer for the registration under `carbonHotKeyID`, given after
    // registerHotKey returned. Unknown ids are ignored.
    static void reportRegistration(std::uint32_t carbonHotKeyID, HotKeyRegistration registration);
    static void unregister(HotKey* hotKey);
    // Routes one event to its hot key's handler: noErr when a handler ran, eventNotHandledErr
    // when the event is not ours or nothing handles it, the read status when the id is unreadable.
    static OSStatus handleCarbonEvent(const HotKeyEvent* event);

    // The backend used for registrations; the platform's own unless a test set another.
    static HotKeyBackend& backend();
    static void setBackend(std::unique_ptr<HotKeyBackend> backend);
    // The installed event handler; null until the first successful registration.
    static HotKeyBackend::Ref eventHandler() { return installedEventHandler; }
    // The last id handed out; ids are 1, 2, 3, ... and never reused.
    static std::uint32_t lastHotKeyID() { return hotKeysCount; }

    // Increments `counter` and returns the new value; running past 4294967295 is fatal.
    static std::uint32_t nextHotKeyID(std::uint32_t& counter);

private:
    static std::uint32_t hotKeysCount;
    static HotKeyBackend::Ref installedEventHandler;
    static std::unique_ptr<HotKeyBackend> currentBackend;
};
