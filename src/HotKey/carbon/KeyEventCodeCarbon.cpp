#include "HotKey/KeyEventCode.h"

#include <QKeyEvent>

std::optional<std::uint32_t> KeyEventCode::carbonKeyCode(const QKeyEvent& event)
{
    // The native virtual key is the Carbon key code itself. Code 0 is the A key, so 0 counts as
    // native when the event also carries native modifier flags; events made up without native
    // values fall back to Qt's key.
    if (event.nativeVirtualKey() != 0 || event.nativeModifiers() != 0) {
        return event.nativeVirtualKey();
    }
    return fromQtKey(event.key(), event.modifiers());
}
