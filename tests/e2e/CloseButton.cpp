#include "CloseButton.h"

#include <X11/Xlib.h>

namespace CloseButton {

bool click(const QString& windowId)
{
    bool parsed = false;
    const Window window = static_cast<Window>(windowId.toULong(&parsed));
    if (!parsed) {
        return false;
    }
    Display* display = XOpenDisplay(nullptr);
    if (!display) {
        return false;
    }
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    const bool sent = XSendEvent(display, window, False, NoEventMask, &event) != 0;
    XFlush(display);
    XCloseDisplay(display);
    return sent;
}

} // namespace CloseButton
