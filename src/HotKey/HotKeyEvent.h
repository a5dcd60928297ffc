#pragma once

#include <cstdint>

// One hot key event as the event manager delivers it: the hot key id it carries and its kind.
// Backends wrap their native event; tests build their own.
class HotKeyEvent
{
public:
    // The id given at registration: a four-character signature and a number.
    struct HotKeyID
    {
        std::uint32_t signature = 0;
        std::uint32_t id = 0;
    };

    virtual ~HotKeyEvent() = default;

    // Reads the hot key id parameter; a non-zero status when it cannot be read.
    virtual std::int32_t readHotKeyID(HotKeyID* hotKeyID) const = 0;
    // The event kind: 5 for pressed, 6 for released.
    virtual std::uint32_t kind() const = 0;
};
