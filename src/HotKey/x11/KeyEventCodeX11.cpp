#include "HotKey/KeyEventCode.h"

#include "X11KeyTable.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QtGui/qguiapplication_platform.h>

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

namespace {

// Qt's own X connection; only the xcb platform's key events carry X key codes.
Display* x11Display()
{
    if (!qGuiApp || QGuiApplication::platformName() != QLatin1String("xcb")) {
        return nullptr;
    }
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->display() : nullptr;
}

// The symbol a key types without Shift in the first layout, so that Ctrl+Shift+1 is the 1 key
// and not "!", whatever layout is active.
unsigned long unshiftedKeysym(const QKeyEvent& event)
{
    Display* display = x11Display();
    const quint32 keycode = event.nativeScanCode();
    if (display && keycode >= 8 && keycode <= 255) {
        const KeySym keysym = XkbKeycodeToKeysym(display, static_cast<KeyCode>(keycode), 0, 0);
        if (keysym != NoSymbol) {
            return keysym;
        }
    }
    return event.nativeVirtualKey();
}

} // namespace

std::optional<std::uint32_t> KeyEventCode::carbonKeyCode(const QKeyEvent& event)
{
    // On xcb the native virtual key is the X key symbol.
    if (const unsigned long keysym = unshiftedKeysym(event); keysym != 0) {
        if (const std::optional<std::uint32_t> code = X11KeyTable::carbonKeyCode(keysym)) {
            return code;
        }
    }
    return fromQtKey(event.key(), event.modifiers());
}
