#pragma once

#include "HotKey/HotKeyEvent.h"
#include "HotKey/HotKeysController.h"

#include <cstdint>

// A hot key event made by a backend that has already matched its native event to a hot key:
// the id always reads.
class DeliveredHotKeyEvent final : public HotKeyEvent
{
public:
    DeliveredHotKeyEvent(HotKeyID hotKeyID, std::uint32_t kind)
        : hotKeyID(hotKeyID), eventKind(kind)
    {}

    std::int32_t readHotKeyID(HotKeyID* out) const override
    {
        *out = hotKeyID;
        return HotKeysController::noErr;
    }
    std::uint32_t kind() const override { return eventKind; }

private:
    HotKeyID hotKeyID;
    std::uint32_t eventKind;
};
