#pragma once

#include <QString>

// The close button of a window, as a window manager works it (the test display runs none): a
// WM_DELETE_WINDOW request sent to the window.
namespace CloseButton {

// Asks the X window with the decimal id `windowId` to close; false when the display cannot be
// reached or the request not sent.
bool click(const QString& windowId);

} // namespace CloseButton
