#pragma once

#include "HotKey/HotKeyBackend.h"

#include <memory>
#include <vector>

class QAbstractNativeEventFilter;

// Hot keys as passive key grabs on the X root window. Each combination is grabbed also with
// Num Lock and Caps Lock on, so the lock state never hides a shortcut. Key events arrive
// through Qt's native event filter and go to the controller with the kinds and id the event
// manager would give them.
class X11HotKeyBackend final : public HotKeyBackend
{
public:
    X11HotKeyBackend();
    ~X11HotKeyBackend() override;

    Ref registerHotKey(const KeyCombo& keyCombo, HotKeyEvent::HotKeyID hotKeyID) override;
    void unregisterHotKey(Ref registration) override;
    Ref installEventHandler() override;

    // Routes one xcb event; true when a hot key handled it (the event is then not passed on).
    bool handleXcbEvent(void* message);

private:
    struct Grab
    {
        unsigned char keycode = 0;
        unsigned int modifiers = 0;
        unsigned int numLockMask = 0;
        HotKeyEvent::HotKeyID hotKeyID;
        // Pressed and not yet released.
        bool isDown = false;
    };

    std::vector<std::unique_ptr<Grab>> grabs;
    std::unique_ptr<QAbstractNativeEventFilter> eventFilter;
};
