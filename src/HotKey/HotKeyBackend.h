#pragma once

#include "HotKeyEvent.h"
#include "HotKeyRegistration.h"
#include "KeyCombo.h"

#include <memory>

// Registers system-wide hot keys with the platform's event manager. Events for registered keys
// go to HotKeysController::handleCarbonEvent through the handler installed by
// installEventHandler.
class HotKeyBackend
{
public:
    // An opaque registration or handler reference; null stands for none.
    using Ref = void*;

    // The answer to one registration. A backend whose answer changes later (the keyboard
    // mapping moved the key, the desktop asked the user) reports the new one through
    // HotKeysController::reportRegistration.
    struct Registration
    {
        // What unregisterHotKey is given back; null when there is nothing to release.
        Ref ref = nullptr;
        HotKeyRegistration outcome = HotKeyRegistration::unavailable;
    };

    virtual ~HotKeyBackend() = default;

    // Registers `keyCombo` under `hotKeyID`.
    virtual Registration registerHotKey(const KeyCombo& keyCombo,
                                        HotKeyEvent::HotKeyID hotKeyID) = 0;
    virtual void unregisterHotKey(Ref registration) = 0;
    // Installs the event handler that forwards hot key events to the controller; null when it
    // could not be installed. The controller calls it once it has a registration, and keeps the
    // handler for the life of the process.
    virtual Ref installEventHandler() = 0;

    // The platform's own backend: Carbon on macOS, X11 key grabs on Linux.
    static std::unique_ptr<HotKeyBackend> makeSystemBackend();
};
