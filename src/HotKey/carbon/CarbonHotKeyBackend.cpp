#include "CarbonHotKeyBackend.h"

#include "HotKey/HotKeysController.h"

// Keep AssertMacros' lower-case `check`, `verify` and `require` out of C++ code.
#define __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES 0
#include <Carbon/Carbon.h>

namespace {

// A Carbon event seen through the controller's event interface.
class CarbonHotKeyEvent final : public HotKeyEvent
{
public:
    explicit CarbonHotKeyEvent(EventRef event) : event(event) {}

    std::int32_t readHotKeyID(HotKeyID* out) const override
    {
        EventHotKeyID hotKeyID = {0, 0};
        const OSStatus status =
            GetEventParameter(event, kEventParamDirectObject, typeEventHotKeyID, nullptr,
                              sizeof(EventHotKeyID), nullptr, &hotKeyID);
        if (status == noErr) {
            out->signature = hotKeyID.signature;
            out->id = hotKeyID.id;
        }
        return status;
    }

    std::uint32_t kind() const override { return GetEventKind(event); }

private:
    EventRef event;
};

// The plain callback Carbon calls; everything it does not own goes back unhandled.
OSStatus hotKeyEventHandler(EventHandlerCallRef, EventRef event, void*)
{
    if (!event) {
        return HotKeysController::handleCarbonEvent(nullptr);
    }
    const CarbonHotKeyEvent hotKeyEvent(event);
    return HotKeysController::handleCarbonEvent(&hotKeyEvent);
}

} // namespace

std::unique_ptr<HotKeyBackend> HotKeyBackend::makeSystemBackend()
{
    return std::make_unique<CarbonHotKeyBackend>();
}

HotKeyBackend::Registration CarbonHotKeyBackend::registerHotKey(const KeyCombo& keyCombo,
                                                                HotKeyEvent::HotKeyID hotKeyID)
{
    const EventHotKeyID carbonHotKeyID = {hotKeyID.signature, hotKeyID.id};
    EventHotKeyRef hotKeyRef = nullptr;
    const OSStatus status =
        RegisterEventHotKey(keyCombo.carbonKeyCode, keyCombo.carbonModifiers, carbonHotKeyID,
                            GetEventDispatcherTarget(), 0, &hotKeyRef);
    if (status == noErr && hotKeyRef) {
        return {hotKeyRef, HotKeyRegistration::registered};
    }
    // eventHotKeyExistsErr: another application (or this one) registered the combination first.
    // Anything else, eventHotKeyInvalidErr included, means it cannot be had here at all.
    return {nullptr, status == eventHotKeyExistsErr ? HotKeyRegistration::taken
                                                    : HotKeyRegistration::unavailable};
}

void CarbonHotKeyBackend::unregisterHotKey(Ref registration)
{
    UnregisterEventHotKey(static_cast<EventHotKeyRef>(registration));
}

HotKeyBackend::Ref CarbonHotKeyBackend::installEventHandler()
{
    static const EventTypeSpec eventTypes[] = {
        {kEventClassKeyboard, kEventHotKeyPressed},
        {kEventClassKeyboard, kEventHotKeyReleased},
    };
    EventHandlerRef handlerRef = nullptr;
    const OSStatus status =
        InstallEventHandler(GetEventDispatcherTarget(), hotKeyEventHandler,
                            GetEventTypeCount(eventTypes), eventTypes, nullptr, &handlerRef);
    if (status != noErr) {
        return nullptr;
    }
    return handlerRef;
}
