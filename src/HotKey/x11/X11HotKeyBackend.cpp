#include "X11HotKeyBackend.h"

#include "HotKey/HotKeysController.h"
#include "HotKey/portal/PortalHotKeyBackend.h"
#include "HotKey/portal/WaylandSession.h"
#include "X11KeyTable.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QProcessEnvironment>
#include <QtGui/qguiapplication_platform.h>

#include <X11/Xlib.h>
#include <X11/keysym.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>

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

// The modifier bit that Num Lock sets on this server (Mod2 on most).
unsigned int numLockMask(Display* display)
{
    unsigned int mask = 0;
    const KeyCode numLock = XKeysymToKeycode(display, XK_Num_Lock);
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

class X11HotKeyEvent final : public HotKeyEvent
{
public:
    X11HotKeyEvent(HotKeyID hotKeyID, std::uint32_t kind) : hotKeyID(hotKeyID), eventKind(kind) {}

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

X11HotKeyBackend::X11HotKeyBackend() = default;

// Grabs are not released here: this runs at exit, when the display may be closed already, and
// the server drops a client's grabs when it disconnects.
X11HotKeyBackend::~X11HotKeyBackend() = default;

HotKeyBackend::Ref X11HotKeyBackend::registerHotKey(const KeyCombo& keyCombo,
                                                    HotKeyEvent::HotKeyID hotKeyID)
{
    Display* display = x11Display();
    if (!display) {
        qCWarning(hotKeyLog) << "No X11 display; hot key" << keyCombo.description()
                             << "not registered";
        return nullptr;
    }
    const std::optional<unsigned long> keysym = X11KeyTable::keysym(keyCombo.carbonKeyCode);
    const KeyCode keycode = keysym ? XKeysymToKeycode(display, *keysym) : 0;
    if (!keycode) {
        qCWarning(hotKeyLog) << "No X11 key for key code" << keyCombo.carbonKeyCode
                             << "; hot key not registered";
        return nullptr;
    }
    const unsigned int modifiers = X11KeyTable::modifierMask(keyCombo.carbonModifiers);
    // Like the Carbon event manager, one registration per combination.
    const bool taken = std::any_of(grabs.begin(), grabs.end(), [&](const auto& grab) {
        return grab->keycode == keycode && grab->modifiers == modifiers;
    });
    const unsigned int numLock = numLockMask(display);
    if (taken || !grabKey(display, keycode, modifiers, numLock)) {
        qCWarning(hotKeyLog) << "Hot key" << keyCombo.description()
                             << "is taken by another client; not registered";
        return nullptr;
    }
    grabs.push_back(std::make_unique<Grab>(Grab{keycode, modifiers, numLock, hotKeyID}));
    return grabs.back().get();
}

void X11HotKeyBackend::unregisterHotKey(Ref registration)
{
    const auto grab = std::find_if(grabs.begin(), grabs.end(), [&](const auto& candidate) {
        return candidate.get() == registration;
    });
    if (grab == grabs.end()) {
        return;
    }
    if (Display* display = x11Display()) {
        const Window root = DefaultRootWindow(display);
        for (const unsigned int locks : lockVariants((*grab)->numLockMask)) {
            XUngrabKey(display, (*grab)->keycode, (*grab)->modifiers | locks, root);
        }
        XFlush(display);
    }
    grabs.erase(grab);
}

HotKeyBackend::Ref X11HotKeyBackend::installEventHandler()
{
    if (!QCoreApplication::instance()) {
        return nullptr;
    }
    if (!eventFilter) {
        eventFilter = std::make_unique<XcbEventFilter>(this);
        QCoreApplication::instance()->installNativeEventFilter(eventFilter.get());
    }
    return eventFilter.get();
}

bool X11HotKeyBackend::handleXcbEvent(void* message)
{
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const std::uint8_t type = event->response_type & ~0x80;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return false;
    }
    // Key releases share the key press layout. Auto-repeat shows up as more presses (or
    // release/press pairs); each is reported as X delivers it.
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
            if (grab->keycode == keyEvent->detail && state == grab->modifiers) {
                match = grab.get();
                break;
            }
        }
    }
    if (!match) {
        return false;
    }
    match->isDown = press;
    const X11HotKeyEvent hotKeyEvent(match->hotKeyID, press
                                                          ? HotKeysController::eventHotKeyPressed
                                                          : HotKeysController::eventHotKeyReleased);
    // The handler may unregister hot keys, so nothing of `grabs` is used after it runs.
    return HotKeysController::handleCarbonEvent(&hotKeyEvent) == HotKeysController::noErr;
}
