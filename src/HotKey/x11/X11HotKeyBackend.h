#pragma once

#include "HotKey/HotKeyBackend.h"

#include <memory>
#include <vector>

class QAbstractNativeEventFilter;
class QObject;

// Hot keys as passive key grabs on the X root window. Each combination is grabbed also with
// Num Lock and Caps Lock on, so the lock state never hides a shortcut. Key events arrive
// through Qt's native event filter and go to the controller with the kinds and id the event
// manager would give them: one press and one release however long the key is held. When the
// keyboard mapping changes, the grabs move to the keys that now carry their symbols.
class X11HotKeyBackend final : public HotKeyBackend
{
public:
    X11HotKeyBackend();
    ~X11HotKeyBackend() override;

    Registration registerHotKey(const KeyCombo& keyCombo, HotKeyEvent::HotKeyID hotKeyID) override;
    void unregisterHotKey(Ref registration) override;
    Ref installEventHandler() override;

    // Routes one xcb event; true when a hot key handled it (the event is then not passed on).
    bool handleXcbEvent(void* message);

    // Presses of a held hot key that auto-repeat delivered and that were dropped.
    int ignoredRepeats() const { return repeats; }
    // How often the grabs were redone after a keyboard mapping change.
    int remappings() const { return remapCount; }

private:
    struct Grab
    {
        unsigned long keysym = 0;
        // The key that carries `keysym` now; 0 when no key does.
        unsigned char keycode = 0;
        unsigned int modifiers = 0;
        unsigned int numLockMask = 0;
        HotKeyEvent::HotKeyID hotKeyID;
        HotKeyRegistration outcome = HotKeyRegistration::unavailable;
        // Pressed and not yet released.
        bool isDown = false;
        // The time of the last release, to tell auto-repeat's release and press pairs where the
        // server cannot leave them out.
        unsigned int lastRelease = 0;
    };

    // Grabs `grab` on the key that carries its symbol now and says how that went.
    HotKeyRegistration grab(Grab& grab);
    void ungrab(const Grab& grab);
    void ensureEventFilter();
    bool isMappingChange(const void* event) const;
    // Coalesces the burst of events one mapping change sends into one remapping.
    void scheduleRemap();
    void remapGrabs();

    std::vector<std::unique_ptr<Grab>> grabs;
    std::unique_ptr<QAbstractNativeEventFilter> eventFilter;
    // Context of the queued remapping, so that none runs after the backend is gone.
    std::unique_ptr<QObject> remapContext;
    int xkbEventBase = -1;
    bool detectableRepeat = false;
    bool remapPending = false;
    int repeats = 0;
    int remapCount = 0;
};
