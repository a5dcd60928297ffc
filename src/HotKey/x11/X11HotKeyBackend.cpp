#include "X11HotKeyBackend.h"

#include "HotKey/DeliveredHotKeyEvent.h"
#include "HotKey/HotKeysController.h"
#include "HotKey/portal/PortalHotKeyBackend.h"
#include "HotKey/portal/WaylandSession.h"
#include "X11KeyTable.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QProcessEnvironment>
#include <QTimer>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <utility>

// Xlib's macros (None, Bool, Status, ...) come last, after every C++ header.
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace {

Q_LOGGING_CATEGORY(hotKeyLog, "wisp.hotkey")

// The display of Qt's own X connection. Only the xcb platform reads key events from it (the
// offscreen platform may hand out a display too, whose events nobody would see).
Display* x11Display()
{
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb")) {
        return nullptr;
    }
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->display() : nullptr;
}

// The key that carries `keysym` now, looked up as XKeysymToKeycode does (first column first).
// Asked of the server each time: Xlib's cached map is refreshed only by events Xlib reads
// itself, and Qt reads them all.
KeyCode keycodeOf(Display* display, KeySym keysym)
{
    int minKeycode = 0;
    int maxKeycode = 0;
    XDisplayKeycodes(display, &minKeycode, &maxKeycode);
    int perKeycode = 0;
    KeySym* map = XGetKeyboardMapping(display, static_cast<KeyCode>(minKeycode),
                                      maxKeycode - minKeycode + 1, &perKeycode);
    if (!map) {
        return 0;
    }
    KeyCode result = 0;
    for (int column = 0; column < perKeycode && !result; ++column) {
        for (int keycode = minKeycode; keycode <= maxKeycode; ++keycode) {
            if (map[(keycode - minKeycode) * perKeycode + column] == keysym) {
                result = static_cast<KeyCode>(keycode);
                break;
            }
        }
    }
    XFree(map);
    return result;
}

// The modifier bit that Num Lock sets on this server (Mod2 on most).
unsigned int numLockMask(Display* display)
{
    unsigned int mask = 0;
    const KeyCode numLock = keycodeOf(display, XK_Num_Lock);
    XModifierKeymap* map = XGetModifierMapping(display);
    if (map && numLock) {
        for (int modifier = 0; modifier < 8 && !mask; ++modifier) {
            for (int index = 0; index < map->max_keypermod; ++index) {
                if (map->modifiermap[modifier * map->max_keypermod + index] == numLock) {
                    mask = 1u << modifier;
                    break;
                }
            }
        }
    }
    if (map) {
        XFreeModifiermap(map);
    }
    return mask ? mask : Mod2Mask;
}

std::array<unsigned int, 4> lockVariants(unsigned int numLock)
{
    return {0u, LockMask, numLock, numLock | LockMask};
}

bool grabFailed = false;

int recordGrabError(Display*, XErrorEvent*)
{
    grabFailed = true;
    return 0;
}

// Grabs the key with every lock combination, or none of them. Errors (another client holding the
// combination answers BadAccess) arrive asynchronously, so they are collected under a handler of
// our own and a sync before the previous handler comes back.
bool grabKey(Display* display, KeyCode keycode, unsigned int modifiers, unsigned int numLock)
{
    const Window root = DefaultRootWindow(display);
    XSync(display, False);
    grabFailed = false;
    const XErrorHandler previous = XSetErrorHandler(recordGrabError);
    for (const unsigned int locks : lockVariants(numLock)) {
        XGrabKey(display, keycode, modifiers | locks, root, True, GrabModeAsync, GrabModeAsync);
    }
    XSync(display, False);
    const bool failed = grabFailed;
    if (failed) {
        for (const unsigned int locks : lockVariants(numLock)) {
            XUngrabKey(display, keycode, modifiers | locks, root);
        }
        XSync(display, False);
    }
    XSetErrorHandler(previous);
    return !failed;
}

class XcbEventFilter final : public QAbstractNativeEventFilter
{
public:
    explicit XcbEventFilter(X11HotKeyBackend* backend) : backend(backend) {}

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) override
    {
        return eventType == "xcb_generic_event_t" && backend->handleXcbEvent(message);
    }

private:
    X11HotKeyBackend* backend;
};

// The two XKB events that say the keyboard's keys changed (the second byte of an XKB event).
constexpr std::uint8_t xkbNewKeyboardNotify = 0;
constexpr std::uint8_t xkbMapNotify = 1;

} // namespace

std::unique_ptr<HotKeyBackend> HotKeyBackend::makeSystemBackend()
{
    // Wayland lets no client grab keys (X grabs under Xwayland see only Xwayland's own windows).
    if (WaylandSession::isActive(QProcessEnvironment::systemEnvironment(),
                                 QGuiApplication::platformName())) {
        return std::make_unique<PortalHotKeyBackend>();
    }
    return std::make_unique<X11HotKeyBackend>();
}

X11HotKeyBackend::X11HotKeyBackend() : remapContext(std::make_unique<QObject>()) {}

// Grabs are not released here: this runs at exit, when the display may be closed already, and
// the server drops a client's grabs when it disconnects.
X11HotKeyBackend::~X11HotKeyBackend()
{
    if (eventFilter && QCoreApplication::instance()) {
        QCoreApplication::instance()->removeNativeEventFilter(eventFilter.get());
    }
}

HotKeyBackend::Registration X11HotKeyBackend::registerHotKey(const KeyCombo& keyCombo,
                                                             HotKeyEvent::HotKeyID hotKeyID)
{
    Display* display = x11Display();
    if (!display) {
        qCWarning(hotKeyLog) << "No X11 display; hot key" << keyCombo.description()
                             << "not registered";
        return {nullptr, HotKeyRegistration::unavailable};
    }
    const std::optional<unsigned long> keysym = X11KeyTable::keysym(keyCombo.carbonKeyCode);
    if (!keysym) {
        qCWarning(hotKeyLog) << "No X11 key for key code" << keyCombo.carbonKeyCode
                             << "; hot key not registered";
        return {nullptr, HotKeyRegistration::unavailable};
    }
    auto candidate = std::make_unique<Grab>();
    candidate->keysym = *keysym;
    candidate->modifiers = X11KeyTable::modifierMask(keyCombo.carbonModifiers);
    candidate->hotKeyID = hotKeyID;
    candidate->outcome = grab(*candidate);
    switch (candidate->outcome) {
    case HotKeyRegistration::registered:
        break;
    case HotKeyRegistration::taken:
        qCWarning(hotKeyLog) << "Hot key" << keyCombo.description()
                             << "is taken by another client; not registered";
        return {nullptr, HotKeyRegistration::taken};
    case HotKeyRegistration::unavailable:
    // A key grab is answered at once: never waiting, never refused by a dialog.
    case HotKeyRegistration::waiting:
    case HotKeyRegistration::refused:
        qCWarning(hotKeyLog) << "No X11 key carries the symbol of key code"
                             << keyCombo.carbonKeyCode << "; hot key not registered";
        return {nullptr, HotKeyRegistration::unavailable};
    }
    grabs.push_back(std::move(candidate));
    return {grabs.back().get(), HotKeyRegistration::registered};
}

HotKeyRegistration X11HotKeyBackend::grab(Grab& grab)
{
    Display* display = x11Display();
    if (!display) {
        return HotKeyRegistration::unavailable;
    }
    grab.keycode = keycodeOf(display, grab.keysym);
    grab.numLockMask = numLockMask(display);
    if (!grab.keycode) {
        return HotKeyRegistration::unavailable;
    }
    // Like the Carbon event manager, one registration per combination.
    const bool ours = std::any_of(grabs.begin(), grabs.end(), [&](const auto& other) {
        return other.get() != &grab && other->outcome == HotKeyRegistration::registered &&
               other->keycode == grab.keycode && other->modifiers == grab.modifiers;
    });
    if (ours || !grabKey(display, grab.keycode, grab.modifiers, grab.numLockMask)) {
        return HotKeyRegistration::taken;
    }
    return HotKeyRegistration::registered;
}

void X11HotKeyBackend::ungrab(const Grab& grab)
{
    Display* display = x11Display();
    if (!display || grab.outcome != HotKeyRegistration::registered) {
        return;
    }
    const Window root = DefaultRootWindow(display);
    for (const unsigned int locks : lockVariants(grab.numLockMask)) {
        XUngrabKey(display, grab.keycode, grab.modifiers | locks, root);
    }
    XFlush(display);
}

void X11HotKeyBackend::unregisterHotKey(Ref registration)
{
    const auto found = std::find_if(grabs.begin(), grabs.end(), [&](const auto& candidate) {
        return candidate.get() == registration;
    });
    if (found == grabs.end()) {
        return;
    }
    ungrab(**found);
    grabs.erase(found);
}

HotKeyBackend::Ref X11HotKeyBackend::installEventHandler()
{
    ensureEventFilter();
    return eventFilter.get();
}

void X11HotKeyBackend::ensureEventFilter()
{
    if (eventFilter || !QCoreApplication::instance()) {
        return;
    }
    eventFilter = std::make_unique<XcbEventFilter>(this);
    QCoreApplication::instance()->installNativeEventFilter(eventFilter.get());

    Display* display = x11Display();
    if (!display) {
        return;
    }
    // A held key then sends presses only and one release at the end, instead of a release and
    // press pair per repeat; the press count alone tells a repeat apart.
    Bool detectable = False;
    XkbSetDetectableAutoRepeat(display, True, &detectable);
    detectableRepeat = detectable;
    if (!detectable) {
        qCWarning(hotKeyLog) << "The X server cannot leave out auto-repeat's releases";
    }
    int opcode = 0;
    int eventBase = 0;
    int errorBase = 0;
    int major = XkbMajorVersion;
    int minor = XkbMinorVersion;
    if (XkbQueryExtension(display, &opcode, &eventBase, &errorBase, &major, &minor)) {
        xkbEventBase = eventBase;
    }
}

bool X11HotKeyBackend::isMappingChange(const void* message) const
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const std::uint8_t type = event->response_type & ~0x80;
    if (type == XCB_MAPPING_NOTIFY) {
        return true;
    }
    if (xkbEventBase < 0 || type != xkbEventBase) {
        return false;
    }
    // Every XKB event carries its own kind in the byte after the type.
    const std::uint8_t xkbType = reinterpret_cast<const std::uint8_t*>(message)[1];
    return xkbType == xkbNewKeyboardNotify || xkbType == xkbMapNotify;
}

void X11HotKeyBackend::scheduleRemap()
{
    if (remapPending) {
        return;
    }
    remapPending = true;
    QTimer::singleShot(0, remapContext.get(), [this] {
        remapPending = false;
        remapGrabs();
    });
}

void X11HotKeyBackend::remapGrabs()
{
    ++remapCount;
    Display* display = x11Display();
    if (!display) {
        return;
    }
    const unsigned int numLock = numLockMask(display);
    // Only grabs whose key or lock modifier moved are redone: an untouched grab never lets go,
    // not even for a moment. All moved ones are released first, as two may trade keys.
    std::vector<Grab*> moved;
    for (const auto& grab : grabs) {
        const bool unchanged = grab->outcome == HotKeyRegistration::registered &&
                               grab->keycode == keycodeOf(display, grab->keysym) &&
                               grab->numLockMask == numLock;
        if (!unchanged) {
            ungrab(*grab);
            grab->outcome = HotKeyRegistration::unavailable;
            grab->isDown = false;
            moved.push_back(grab.get());
        }
    }
    std::vector<std::pair<std::uint32_t, HotKeyRegistration>> changes;
    for (Grab* grab : moved) {
        const unsigned char oldKeycode = grab->keycode;
        grab->outcome = this->grab(*grab);
        qCInfo(hotKeyLog) << "Keyboard mapping changed: hot key" << grab->hotKeyID.id
                          << "moved from key" << oldKeycode << "to" << grab->keycode << "and is"
                          << toString(grab->outcome);
        changes.emplace_back(grab->hotKeyID.id, grab->outcome);
    }
    // Reported last: a listener may drop hot keys, and with them grabs.
    for (const auto& [id, outcome] : changes) {
        HotKeysController::reportRegistration(id, outcome);
    }
}

bool X11HotKeyBackend::handleXcbEvent(void* message)
{
    if (isMappingChange(message)) {
        scheduleRemap();
        // Qt needs to hear of it too.
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const std::uint8_t type = event->response_type & ~0x80;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return false;
    }
    // Key releases share the key press layout.
    const auto* keyEvent = static_cast<const xcb_key_press_event_t*>(message);
    const bool press = type == XCB_KEY_PRESS;
    Grab* match = nullptr;
    if (!press) {
        // Modifiers are often let go before the key, so a release belongs to the grab whose
        // press came last, whatever modifiers are still down.
        for (const auto& grab : grabs) {
            if (grab->isDown && grab->keycode == keyEvent->detail) {
                match = grab.get();
                break;
            }
        }
    }
    if (!match) {
        for (const auto& grab : grabs) {
            const unsigned int state = keyEvent->state & 0xFF & ~(LockMask | grab->numLockMask);
            if (grab->outcome == HotKeyRegistration::registered &&
                grab->keycode == keyEvent->detail && state == grab->modifiers) {
                match = grab.get();
                break;
            }
        }
    }
    if (!match) {
        return false;
    }
    if (press) {
        // Auto-repeat: more presses while the key is down, or, where the server cannot leave
        // out the releases, a press at the very time of the release before it.
        const bool repeat = match->isDown || (!detectableRepeat && match->lastRelease != 0 &&
                                              keyEvent->time == match->lastRelease);
        match->isDown = true;
        if (repeat) {
            ++repeats;
            return true;
        }
    } else {
        if (!match->isDown) {
            return true;
        }
        match->isDown = false;
        match->lastRelease = keyEvent->time;
    }
    const DeliveredHotKeyEvent hotKeyEvent(match->hotKeyID,
                                           press ? HotKeysController::eventHotKeyPressed
                                                 : HotKeysController::eventHotKeyReleased);
    // The handler may unregister hot keys, so nothing of `grabs` is used after it runs.
    return HotKeysController::handleCarbonEvent(&hotKeyEvent) == HotKeysController::noErr;
}
