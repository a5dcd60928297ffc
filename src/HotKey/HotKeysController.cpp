#include "HotKeysController.h"

#include "HotKey.h"

#include <QtGlobal>

#include <limits>

std::map<std::uint32_t, HotKeysController::HotKeyBox> HotKeysController::hotKeys;
std::uint32_t HotKeysController::hotKeysCount = 0;
HotKeyBackend::Ref HotKeysController::installedEventHandler = nullptr;
std::unique_ptr<HotKeyBackend> HotKeysController::currentBackend;

std::uint32_t HotKeysController::nextHotKeyID(std::uint32_t& counter)
{
    if (counter == std::numeric_limits<std::uint32_t>::max()) {
        qFatal("HotKeysController: hot key id counter overflowed past 4294967295");
    }
    return ++counter;
}

HotKeyBackend& HotKeysController::backend()
{
    if (!currentBackend) {
        currentBackend = HotKeyBackend::makeSystemBackend();
    }
    return *currentBackend;
}

void HotKeysController::setBackend(std::unique_ptr<HotKeyBackend> backend)
{
    // The installed handler belongs to the backend being replaced.
    installedEventHandler = nullptr;
    currentBackend = std::move(backend);
}

void HotKeysController::register_(HotKey* hotKey)
{
    if (!hotKey) {
        return;
    }
    for (const auto& [id, box] : hotKeys) {
        if (box.identifier == hotKey->identifier) {
            return;
        }
    }

    const std::uint32_t id = nextHotKeyID(hotKeysCount);
    // The box is stored before the event manager hears of the hot key, and stays even when the
    // registration is refused; only unregistration drops it.
    hotKeys[id] = HotKeyBox{hotKey->identifier, hotKey, id, nullptr};

    const HotKeyBackend::Registration registration =
        backend().registerHotKey(hotKey->keyCombo, {eventHotKeySignature, id});
    if (const auto box = hotKeys.find(id); box != hotKeys.end()) {
        box->second.carbonEventHotKey = registration.ref;
        box->second.registration = registration.outcome;
    }
    if (registration.ref && !installedEventHandler) {
        installedEventHandler = backend().installEventHandler();
    }
    hotKey->setRegistration(registration.outcome);
}

void HotKeysController::reportRegistration(std::uint32_t carbonHotKeyID,
                                           HotKeyRegistration registration)
{
    const auto box = hotKeys.find(carbonHotKeyID);
    if (box == hotKeys.end()) {
        return;
    }
    box->second.registration = registration;
    // The hot key hears of it last: its listeners may unregister it.
    if (HotKey* hotKey = box->second.hotKey.data()) {
        hotKey->setRegistration(registration);
    }
}

void HotKeysController::unregister(HotKey* hotKey)
{
    if (!hotKey) {
        return;
    }
    for (auto box = hotKeys.begin(); box != hotKeys.end(); ++box) {
        if (box->second.identifier != hotKey->identifier) {
            continue;
        }
        if (box->second.carbonEventHotKey) {
            backend().unregisterHotKey(box->second.carbonEventHotKey);
        }
        box->second.hotKey.clear();
        hotKeys.erase(box);
        return;
    }
}

HotKeysController::OSStatus HotKeysController::handleCarbonEvent(const HotKeyEvent* event)
{
    if (!event) {
        return eventNotHandledErr;
    }

    HotKeyEvent::HotKeyID hotKeyID;
    if (const OSStatus status = event->readHotKeyID(&hotKeyID); status != noErr) {
        return status;
    }
    if (hotKeyID.signature != eventHotKeySignature) {
        return eventNotHandledErr;
    }

    const auto box = hotKeys.find(hotKeyID.id);
    if (box == hotKeys.end()) {
        return eventNotHandledErr;
    }
    HotKey* hotKey = box->second.hotKey.data();
    if (!hotKey) {
        hotKeys.erase(box);
        return eventNotHandledErr;
    }

    HotKey::Handler handler;
    switch (event->kind()) {
    case eventHotKeyPressed:
        handler = hotKey->keyDownHandler;
        break;
    case eventHotKeyReleased:
        handler = hotKey->keyUpHandler;
        break;
    default:
        return eventNotHandledErr;
    }
    if (hotKey->isPaused() || !handler) {
        return eventNotHandledErr;
    }
    // A copy runs, so a handler may drop or replace its own hot key.
    handler();
    return noErr;
}
